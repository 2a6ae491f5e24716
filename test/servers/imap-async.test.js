// The asynchronous IMAP session's probe, which runs in a child process, since it blocks and logs to standard
// error; and what becomes of asynchronous work that waits for a server when its thread or process ends.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const test = require('node:test');

require('../module/load.js');
const { reasonToSkip, startServers } = require('./harness.js');
const { startScripted } = require('./scripted.js');

const kLoad = JSON.stringify(require.resolve('../module/load.js'));

// Runs a script with `brennox` in scope; resolves to what it printed and how long it took.
async function run(script, timeout = 60000) {
  const start = Date.now();
  const child = spawn(process.execPath, ['-e', `const brennox = require(${kLoad});\n${script}`],
    { stdio: ['ignore', 'pipe', 'pipe'], timeout });
  const result = { stdout: '', stderr: '' };
  child.stdout.on('data', (bytes) => { result.stdout += bytes; });
  child.stderr.on('data', (bytes) => { result.stderr += bytes; });
  [result.code, result.signal] = await new Promise((resolve) => child.on('close', (...end) => resolve(end)));
  return Object.assign(result, { took: Date.now() - start });
}

function probe(settings) {
  return `Object.assign(new brennox.IMAPAsyncSession(), ${JSON.stringify(settings)}).fetchAllFolders(1, 'ignored')`;
}

test('the probe on a real server', { skip: reasonToSkip({ dovecot: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true });
  t.after(() => servers.stop());
  const user = 'alice@example.test';
  const settings = {
    hostname: '127.0.0.1', port: servers.ports.imap, connectionType: 1, username: user, password: servers.users[user],
  };
  const append = `
    const session = Object.assign(new brennox.IMAPSession(), ${JSON.stringify(settings)});
    for (let i = 0; i < 3; i++) session.appendMessage('INBOX', new brennox.Data(Buffer.from('Subject: x\\r\\n\\r\\ny\\r\\n')), 0);`;

  await t.test('it returns 0 and logs one line a notification', async () => {
    const { stdout, stderr, code } = await run(`${append}\nconsole.log(${probe(settings)});`);
    assert.equal(code, 0, stderr);
    assert.equal(stdout, '0\n');
    const lines = stderr.trimEnd().split('\n');
    const operation = '<IMAPFetchMessagesOperation:0x[0-9a-f]+>';
    const callback = '<TestIMAPCallback:0x[0-9a-f]+>';
    assert.match(lines.at(-1), new RegExp(`^src/imap/WIMAPAsyncSession:201: callback ${operation} \\[.*\\] ${callback}$`));
    const progress = lines.slice(0, -1);
    assert.ok(progress.length >= 1, stderr);
    for (const line of progress) {
      assert.match(line, new RegExp(`^src/imap/WIMAPAsyncSession:211: item progress ${operation} ${callback} \\d+/\\d+$`));
    }
    assert.match(progress.at(-1), / 3\/3$/);
  });

  await t.test('a wrong password ends with an empty result', async () => {
    const { stdout, stderr } = await run(`console.log(${probe({ ...settings, password: 'wrong' })});`);
    assert.equal(stdout, '0\n');
    assert.match(stderr, /^src\/imap\/WIMAPAsyncSession:201: callback <\S+> \[\] <\S+>\n$/);
    assert.ok(!stderr.includes('wrong'));
  });

  await t.test('several sessions in several threads at once', async () => {
    const { stdout, stderr, code } = await run(`
      const { Worker } = require('node:worker_threads');
      for (let i = 0; i < 4; i++) {
        new Worker(${JSON.stringify(`const brennox = require(${kLoad}); console.log(${probe(settings)});`)}, { eval: true });
      }
      console.log(${probe(settings)});`);
    assert.equal(code, 0, stderr);
    assert.equal(stdout, '0\n'.repeat(5));
    assert.equal(stderr.match(/:201: callback/g).length, 5);
  });
});

test('the probe asks for all that is known about every message of the inbox', async () => {
  const row = (command, untagged) => [new RegExp(`^([^ ]+) ${command}.*\\r\\n`), `${untagged}$1 OK done\r\n`];
  const server = await startScripted([['* OK [CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR] ready\r\n', { serve: [
    row('CAPABILITY', '* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n'), row('SELECT', '* 1 EXISTS\r\n'), row('UID FETCH', '* 1 FETCH (UID 7)\r\n'), row('', ''),
  ], forever: true }]]);
  try {
    // One session may be asked more than once.
    const settings = JSON.stringify({ hostname: '127.0.0.1', port: server.port, connectionType: 1, username: 'a', password: 'b' });
    const { stdout, stderr } = await run(`
      const session = Object.assign(new brennox.IMAPAsyncSession(), ${settings});
      console.log(session.fetchAllFolders(), session.fetchAllFolders());`);
    assert.equal(stdout, '0 0\n');
    assert.match(stderr, /:201: callback <\S+> \[<IMAPMessage: uid 7 .*>\] <\S+>\n$/);
    assert.equal(stderr.match(/:201: callback /g).length, 2);
    assert.equal(stderr.match(/^/gm).length - 1, stderr.match(/^src\/imap\/WIMAPAsyncSession:/gm).length, stderr);
    const lines = (await server.connections()).flatMap((connection) => connection.lines).map((line) => line.slice(line.indexOf(' ') + 1));
    const fetch = 'UID FETCH 1:* (UID FLAGS INTERNALDATE RFC822.SIZE ENVELOPE BODYSTRUCTURE BODY.PEEK[HEADER.FIELDS (SUBJECT)])';
    assert.deepEqual(lines.filter((line) => /^(SELECT|EXAMINE|UID|FETCH)/.test(line)), ['SELECT INBOX', fetch, fetch]);
  } finally {
    await server.stop();
  }
});

test('without a host the probe ends at once with an empty result', async () => {
  const { stdout, stderr, took } = await run(`console.log(${probe({})});`);
  assert.equal(stdout, '0\n');
  assert.match(stderr, /^src\/imap\/WIMAPAsyncSession:201: callback <\S+> \[\] <\S+>\n$/);
  assert.ok(took < 10000);
});

test('a silent host', async (t) => {
  const server = await startScripted([[{ delay: 120000 }]]);
  t.after(() => server.stop());
  const settings = { hostname: '127.0.0.1', port: server.port, connectionType: 1 };

  await t.test('ends the probe within the time-out', async () => {
    const { stdout, took } = await run(`console.log(${probe(settings)});`);
    assert.equal(stdout, '0\n');
    assert.ok(took < 40000, `${took} ms`);
  });

  const worker = `
    const { Worker } = require('node:worker_threads');
    const worker = new Worker(${JSON.stringify(`const brennox = require(${kLoad}); ${probe(settings)}`)}, { eval: true });`;

  await t.test('does not keep a worker thread from being terminated', async () => {
    const { code, signal, took, stderr } = await run(`${worker}
      setTimeout(() => worker.terminate(), 1000);`);
    assert.deepEqual([code, signal], [0, null], stderr);
    assert.ok(took < 10000, `${took} ms`);
  });

  await t.test('does not keep the process from exiting', async () => {
    const { code, signal, took, stderr } = await run(`${worker}
      setTimeout(() => process.exit(7), 1000);`);
    assert.deepEqual([code, signal], [7, null], stderr);
    assert.ok(took < 10000, `${took} ms`);
  });
});

test('queued and running operations do not keep a script from ending', async (t) => {
  const server = await startScripted([[{ delay: 120000 }]]);
  t.after(() => server.stop());
  const settings = JSON.stringify({ hostname: '127.0.0.1', port: server.port, connectionType: 1 });
  // More than the worker pool has threads, so that some are still queued.
  const kinds = {
    'listings of one session': `const s = Object.assign(new brennox.IMAPSession(), ${settings}); const start = () => s.fetchAllFoldersAsync(() => {});`,
    'listings of many sessions': `const start = () => Object.assign(new brennox.IMAPSession(), ${settings}).fetchAllFoldersAsync(() => {});`,
    'sends': `const start = () => Object.assign(new brennox.ISMTPAsyncSession(), ${settings}).sendMessageOperation('a@b.test', ['c@d.test'], 'x', 0, () => {});`,
  };
  const busy = (kind) => `${kinds[kind]} for (let i = 0; i < 10; i++) start();`;
  const inWorker = (code) => `new (require('node:worker_threads').Worker)(${JSON.stringify(`const brennox = require(${kLoad});`)} + ${JSON.stringify(code)}, { eval: true })`;

  for (const kind of Object.keys(kinds)) {
    await t.test(`${kind}: process.exit()`, async () => {
      const { code, signal, took, stderr } = await run(`${busy(kind)} setTimeout(() => process.exit(7), 300);`);
      assert.deepEqual([code, signal, stderr], [7, null, '']);
      assert.ok(took < 10000, `${took} ms`);
    });

    await t.test(`${kind}: process.exit() in a worker thread`, async () => {
      const { stdout, took, stderr } = await run(`${inWorker(`${busy(kind)} setTimeout(() => process.exit(7), 300);`)}.on('exit', console.log);`);
      assert.deepEqual([stdout, stderr], ['7\n', '']);
      assert.ok(took < 10000, `${took} ms`);
    });
  }

  await t.test('an uncaught exception', async () => {
    const { code, took, stderr } = await run(`${busy('sends')} setTimeout(() => { throw new Error('thrown'); }, 300);`);
    assert.equal(code, 1);
    assert.match(stderr, /Error: thrown/);
    assert.ok(took < 10000, `${took} ms`);
  });
});
