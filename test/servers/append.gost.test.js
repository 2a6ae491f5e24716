// Strict GOST mode of an upload: its session's connection and the one that uploads, each to a server of its own.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { kSuites, makeGostCertificates, reasonToSkipGost, startGostServer } = require('./gost.js');
const { reasonToSkip } = require('./harness.js');
const { trusting } = require('./smtp.helpers.js');

const kGreeting = '* OK [CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR] ready\r\n';

function replies() {
  let upload;
  const done = ([, tag]) => `${tag} OK done\r\n`;
  return [
    [/^(\S+) CAPABILITY/, ([, tag]) => `* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n${tag} OK done\r\n`],
    [/^(\S+) SELECT/, ([, tag]) => `* 0 EXISTS\r\n* OK [UIDVALIDITY 1] x\r\n* OK [UIDNEXT 7] x\r\n${tag} OK done\r\n`],
    [/^(\S+) APPEND/, ([, tag]) => { upload = tag; return '+ go on\r\n'; }],
    [/^the end\r?$/, () => `${upload} OK done\r\n`],
    [/^(\S+) (?:LOGIN|AUTHENTICATE|LOGOUT|NOOP)/, done],
  ];
}

// Leads the first connection to one port and those that follow to another.
async function startSwitch(first, later) {
  let count = 0;
  const server = net.createServer((client) => {
    const upstream = net.connect(count++ === 0 ? first : later, '127.0.0.1');
    client.pipe(upstream).pipe(client);
    client.on('error', () => upstream.destroy());
    upstream.on('error', () => client.destroy());
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return { port: server.address().port, count: () => count, stop: () => server.close() };
}

// Uploads in a process of its own and resolves to the UID or the error's text.
function appendApart(command, port, env) {
  const script = `
    const { Data, IMAPSession } = require(${JSON.stringify(path.join(__dirname, '../module/load.js'))});
    const session = Object.assign(new IMAPSession(), { hostname: '127.0.0.1', port: ${port}, connectionType: 4, checkCertificateEnabled: true,
      username: 'alice', password: 'secret', strictGost: true });
    let result;
    try { result = session.appendMessage('INBOX', new Data(Buffer.from('Subject: gost\\r\\n\\r\\nthe end\\r\\n')), 0); }
    catch (error) { result = error.message; }
    console.log(JSON.stringify(result));
    process.exit(0);`;
  const [file, ...args] = [...command, process.execPath, '-e', script];
  return new Promise((resolve, reject) => {
    const child = spawn(file, args, { stdio: ['ignore', 'pipe', 'pipe'], env: { ...process.env, ...env } });
    let output = '';
    let errors = '';
    child.stdout.on('data', (bytes) => { output += bytes; });
    child.stderr.on('data', (bytes) => { errors += bytes; });
    child.once('error', reject);
    child.once('close', (code) => (code === 0 ? resolve({ result: JSON.parse(output), log: errors }) : reject(new Error(errors + output))));
  });
}

test('strict GOST upload', { skip: reasonToSkip({ badtls: true }) || reasonToSkipGost() }, async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'gost-append-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const bundle = path.join(folder, 'bundle.pem');
  fs.writeFileSync(bundle, makeGostCertificates(folder));
  const certificate = (name) => ['-cert', `${name}.crt`, '-key', `${name}.key`];

  async function upload(options, env) {
    const imap = () => ({ greeting: kGreeting, replies: replies() });
    const own = await startGostServer(folder, [...certificate('gost512'), '-cipher', kSuites[0]], imap());
    const server = await startGostServer(folder, options, imap());
    const both = await startSwitch(own.port, server.port);
    try {
      const { result, log } = await appendApart(trusting(bundle), both.port, env);
      return { result, log, connections: both.count(), own: own.suite(), suite: server.suite(), output: server.output() };
    } finally {
      both.stop();
      await server.stop();
      await own.stop();
    }
  }

  for (const suite of kSuites) {
    await t.test(suite, async () => {
      const { result, log, own, suite: agreed, output } = await upload([...certificate('gost256'), '-cipher', suite]);
      assert.equal(result, 7, output);
      assert.equal(own, kSuites[0]);
      assert.equal(agreed, suite);
      assert.match(output, /^Subject: gost/m);
      assert.match(log, /strict gost for append/);
    });
  }

  await t.test('a server without GOST suites gets no upload, whatever TLS version it wants', async () => {
    for (const version of ['-tls1_2', '-tls1_3', '-no_tls1']) {
      const { result, own, suite, output } = await upload([...certificate('rsa'), version]);
      assert.equal(result, '1', version);
      assert.equal(own, kSuites[0], 'the session came as far as the upload');
      assert.equal(suite, null);
      assert.doesNotMatch(output, /APPEND|Subject/);
    }
  });

  await t.test('without the engine: 2, and no connection is made', async () => {
    const { result, connections } = await upload(certificate('rsa'), { HIDE_GOST: '1' });
    assert.equal(result, '2');
    assert.equal(connections, 0);
  });
});
