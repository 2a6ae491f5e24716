// Strict GOST mode over IMAP, the session's own connection and the upload's: one of the four suites, or nothing.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const readline = require('node:readline');
const test = require('node:test');

const { AuthType, ConnectionType, ErrorCode } = require('../../constants.js');
const { kSuites, makeGostCertificates, reasonToSkipGost } = require('./gost.js');
const { reasonToSkip, startServers } = require('./harness.js');
const { trusting } = require('./smtp.helpers.js');

const kUser = 'alice@example.test';
const kEngine = `openssl_conf = init
[init]
engines = engines
[engines]
gost = gost
[gost]
engine_id = gost
default_algorithms = ALL
init = 1
`;

async function startFront(folder, target, name, suites) {
  const child = spawn('python3', [path.join(__dirname, 'gost-front.py'), target, `${name}.crt`, `${name}.key`, suites].map(String), {
    cwd: folder, stdio: ['pipe', 'pipe', 'inherit'], env: { ...process.env, OPENSSL_CONF: path.join(folder, 'engine.cnf') },
  });
  const lines = [];
  const input = readline.createInterface({ input: child.stdout });
  const ports = JSON.parse(await new Promise((resolve, reject) => {
    input.once('line', resolve);
    child.once('exit', () => reject(new Error('the front has ended')));
  }));
  input.on('line', (line) => lines.push(line));
  return {
    ports,
    lines,
    async stop() {
      const gone = new Promise((resolve) => child.once('exit', resolve));
      child.stdin.end();
      await gone;
    },
  };
}

// What a session with these settings does, in a process of its own: the code of the login, the UID of an append
// or its error, and whether the message comes back as it was.
function work(bundle, settings, env = {}) {
  const script = `
    const { Data, IMAPSession } = require(${JSON.stringify(path.join(__dirname, '../module/load.js'))});
    const session = Object.assign(new IMAPSession(), ${JSON.stringify(settings)});
    const login = session.loginIfNeeded();
    let append;
    let same = null;
    const text = 'Subject: gost\\r\\n\\r\\nx\\r\\n';
    try {
      append = session.appendMessage('Drafts', new Data(Buffer.from(text)), 0);
      same = session.fetchMessageByUID('Drafts', append).bytes().toString() === text;
    } catch (error) {
      append = error.message;
    }
    session.disconnect();
    console.log(JSON.stringify({ login, append, same }));`;
  return new Promise((resolve, reject) => {
    const [file, ...args] = [...(bundle ? trusting(bundle) : []), process.execPath, '-e', script];
    const child = spawn(file, args, { stdio: ['ignore', 'pipe', 'pipe'], env: { ...process.env, ...env } });
    let output = '';
    let errors = '';
    child.stdout.on('data', (bytes) => { output += bytes; });
    child.stderr.on('data', (bytes) => { errors += bytes; });
    child.once('close', () => {
      // The library's log may stand in front.
      const line = output.split('\n').find((text) => text.startsWith('{'));
      if (line) resolve({ ...JSON.parse(line), log: output + errors });
      else reject(new Error(output + errors));
    });
  });
}

const skip = reasonToSkip({ dovecot: true }) || reasonToSkipGost();

test('strict GOST mode over IMAP', { skip }, async (t) => {
  const servers = await startServers({ dovecot: true });
  t.after(() => servers.stop());
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'gost-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const bundle = path.join(folder, 'bundle.pem');
  fs.writeFileSync(bundle, makeGostCertificates(folder));
  fs.writeFileSync(path.join(folder, 'engine.cnf'), kEngine);

  const settingsFor = (port, settings = {}) => ({
    hostname: '127.0.0.1', port, username: kUser, password: servers.users[kUser], authType: AuthType.SASLPlain,
    connectionType: ConnectionType.TLS, checkCertificateEnabled: true, strictGost: true, ...settings,
  });
  const withFront = async (name, suites, run) => {
    const front = await startFront(folder, servers.ports.imap, name, suites);
    try {
      return await run(front);
    } finally {
      await front.stop();
    }
  };
  let uid = 0;

  for (const suite of kSuites) {
    await t.test(`${suite}: the session and the upload`, () => withFront('gost256', suite, async ({ ports, lines }) => {
      const { log, ...result } = await work(bundle, settingsFor(ports.tls));
      assert.deepEqual(result, { login: 0, append: ++uid, same: true }, log);
      assert.deepEqual(lines, [suite, suite]);
      assert.match(log, /strict gost for append\n/);
    }));
  }

  await t.test('by STARTTLS, and nothing else goes out in the clear', () => withFront('gost512', kSuites[0], async ({ ports, lines }) => {
    const { log, ...result } = await work(bundle, settingsFor(ports.starttls, { connectionType: ConnectionType.StartTLS }));
    assert.deepEqual(result, { login: 0, append: ++uid, same: true }, log);
    assert.deepEqual(lines.filter((line) => !line.startsWith('clear ')), [kSuites[0], kSuites[0]]);
    assert.deepEqual([...new Set(lines.filter((line) => line.startsWith('clear ')))].sort(), ['clear CAPABILITY', 'clear STARTTLS']);
  }));

  await t.test('a server without GOST suites is refused, and reached without strict mode', () => withFront('rsa', 'ECDHE-RSA-AES128-GCM-SHA256', async ({ ports, lines }) => {
    const refused = await work(bundle, settingsFor(ports.tls));
    assert.deepEqual([refused.login, refused.append], [ErrorCode.Connection, String(ErrorCode.Connection)]);
    assert.ok(lines.length > 0 && lines.every((line) => line === 'failed'), lines.join());
    const { log, ...result } = await work(bundle, settingsFor(ports.tls, { strictGost: false }));
    assert.deepEqual(result, { login: 0, append: ++uid, same: true }, log);
    assert.doesNotMatch(log, /strict gost/);
  }));

  await t.test('a certificate of an unknown issuer is 4', () => withFront('gost256', kSuites[0], async ({ ports }) => {
    const { login, append } = await work(null, settingsFor(ports.tls));
    assert.deepEqual([login, append], [ErrorCode.Certificate, String(ErrorCode.Certificate)]);
  }));

  await t.test('without the engine, and on clear connections: 2, and no connection is made', () => withFront('gost256', kSuites[0], async ({ ports, lines }) => {
    for (const [settings, env] of [
      [settingsFor(ports.tls), { HIDE_GOST: '1' }],
      [settingsFor(ports.starttls, { connectionType: ConnectionType.StartTLS }), { HIDE_GOST: '1' }],
      [settingsFor(ports.starttls, { connectionType: ConnectionType.Clear }), {}],
    ]) {
      const { login, append, log } = await work(bundle, settings, env);
      assert.deepEqual([login, append], [ErrorCode.TLSNotAvailable, String(ErrorCode.TLSNotAvailable)], log);
    }
    assert.deepEqual(lines, []);
  }));
});
