'use strict';
// How the module is loaded: by whom, how often, in which order, beside which other libraries.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { nodes, run } = require('./nodes.js');
require('./load.js');

const kModule = process.env.VELKOR_BRENNOX2;
const kAddons = process.env.BRENNOX_TEST_ADDONS;
const kIsWindows = process.platform === 'win32';
const kOnlyShared = kIsWindows && 'on Windows the module is one file, which brings all of its libraries';
const kIsSanitized = /asan/.test(process.env.LD_PRELOAD ?? '');

// What each script can use: `file`, `use(module)` which works with it, and `inWorker(code)` which resolves with the
// exit code of a worker that ran the code.
const kPrelude = `
'use strict';
const assert = require('node:assert');
const { Worker, isMainThread } = require('node:worker_threads');
const file = ${JSON.stringify(kModule)};
const addons = ${JSON.stringify(kAddons)};
function use(m) {
  assert.strictEqual(Object.keys(m).length, 16);
  const data = new m.Data(Buffer.from('text'));
  assert.strictEqual(data.base64String(), 'dGV4dA==');
  assert.throws(() => new m.Data('text'), TypeError);
  const header = new m.MessageHeader();
  header.subject = 'Größe';
  assert.strictEqual(header.subject, 'Größe');
  const attachment = new m.Attachment(Buffer.alloc(100000, 'x'), 'a.txt');
  assert.strictEqual(attachment.data.length, 100000);
  const parser = new m.MessageParser();
  parser.Import(Buffer.from('Subject: =?koi8-r?B?8NLJ18XU?=\\r\\n\\r\\ntext'));
  return new Promise((resolve, reject) => {
    parser.ImportAsync(Buffer.from('Subject: s\\r\\n\\r\\ntext'), (error, ...more) => {
      if (error || more.length) reject(error || new Error('more than null'));
      else resolve();
    });
  });
}
function inWorker(code, during = () => {}) {
  return new Promise((resolve, reject) => {
    const worker = new Worker(prelude + code, { eval: true });
    worker.on('error', reject);
    worker.on('exit', resolve);
    worker.on('message', (message) => during(worker, message));
  });
}
const kUse = 'use(require(file)).catch((error) => { throw error; });';
`;
const script = (body) =>
  `const prelude = ${JSON.stringify(kPrelude)};\n${kPrelude}\n(async () => {${body}})().catch((error) => {
    console.error(error);
    process.exit(1);
  });`;

const cases = {
  'in the main thread': 'await use(require(file));',
  'again after its cache entry was deleted': `
    const first = require(file);
    delete require.cache[require.resolve(file)];
    const second = require(file);
    await use(first);
    await use(second);
    await use(first);`,
  'by process.dlopen, twice': `
    for (let i = 0; i < 2; ++i) {
      const module = { exports: {} };
      process.dlopen(module, file);
      await use(module.exports);
    }`,
  'in the main thread, then in workers': `
    await use(require(file));
    assert.deepStrictEqual(await Promise.all([inWorker(kUse), inWorker(kUse)]), [0, 0]);`,
  'in workers, one after another': `
    for (let i = 0; i < 4; ++i) assert.strictEqual(await inWorker(kUse), 0);`,
  'in six workers at once': `
    const codes = await Promise.all(Array.from({ length: 6 }, () => inWorker(kUse)));
    assert.deepStrictEqual(codes, [0, 0, 0, 0, 0, 0]);`,
  'in a worker, then in the main thread': `
    assert.strictEqual(await inWorker(kUse), 0);
    await use(require(file));`,
  'in a mixture of workers and the main thread': `
    assert.strictEqual(await inWorker(kUse), 0);
    const running = [inWorker(kUse), inWorker(kUse)];
    await use(require(file));
    assert.deepStrictEqual(await Promise.all(running), [0, 0]);
    assert.strictEqual(await inWorker(kUse), 0);
    await use(require(file));`,
  'and process.exit ends it with work in flight, in a worker too': `
    const kBusy = \`
      const m = require(file);
      const big = Buffer.from('Subject: s\\\\r\\\\n\\\\r\\\\n' + 'text '.repeat(2000000));
      for (let i = 0; i < 8; ++i) new m.MessageParser().ImportAsync(big, () => {});
      require('node:worker_threads').parentPort?.postMessage('busy');\`;
    inWorker(kBusy + 'setInterval(() => {}, 1000);', () => {
      eval(kBusy);
      process.exit(0);
    });
    await new Promise((resolve) => setTimeout(resolve, 50000));
    process.exit(2);`,
  'and worker.terminate ends it with work in flight': `
    for (let i = 0; i < 3; ++i) {
      const code = await inWorker(\`
        const m = require(file);
        const big = Buffer.from('Subject: s\\\\r\\\\n\\\\r\\\\n' + 'text '.repeat(2000000));
        for (let i = 0; i < 8; ++i) new m.MessageParser().ImportAsync(big, () => {});
        const session = new m.IMAPSession();
        const builder = new m.MessageBuilder();
        builder.textBody = 'text'.repeat(100000);
        for (let i = 0; i < 8; ++i) builder.getDataAsync(() => {});
        require('node:worker_threads').parentPort.postMessage('busy');
        setInterval(() => {}, 1000);\`, (worker) => worker.terminate());
      assert.strictEqual(code, 1);
    }
    await use(require(file));`,
  'by createRequire in an ES module': `
    const { createRequire } = await import('node:module');
    await use(createRequire(require('node:url').pathToFileURL('/none.mjs'))(file));`,
};

for (const { name, file, skip } of nodes) {
  for (const [what, body] of Object.entries(cases)) {
    test(`${name}: loads ${what}`, { skip }, () => {
      const { status, signal, stderr } = run(file, script(body));
      assert.deepStrictEqual({ status, signal, stderr }, { status: 0, signal: null, stderr: '' });
    });
  }

  test(`${name}: exports all classes to ES modules`, { skip: skip || kIsWindows && 'no package holds the module' || kIsSanitized && 'loads the release build' }, (t) => {
    const index = path.join(__dirname, '../../index.mjs');
    if (!fs.existsSync(path.join(__dirname, '../../build/release/velkor_brennox2.node'))) {
      t.skip('there is no release build');
      return;
    }
    const { status, stdout, stderr } = run(file, `
      import * as named from ${JSON.stringify(index)};
      import addon from ${JSON.stringify(index)};
      const { default: _, ...classes } = named;
      console.log(Object.keys(addon).every((name) => classes[name] === addon[name]), Object.keys(classes).length);`,
      { args: ['--input-type=module'] });
    assert.deepStrictEqual({ status, stdout, stderr }, { status: 0, stdout: 'true 16\n', stderr: '' });
  });

  test(`${name}: works after another addon has brought the system's OpenSSL`, { skip: skip || kOnlyShared }, () => {
    const { status, signal, stderr } = run(file, script(`
      const other = require(addons + '/uses_libcrypto.node');
      const before = other.version();
      assert.match(before, /^OpenSSL 3/);
      const m = require(file);
      await use(m);
      for (let i = 0; i < 2; ++i) assert.strictEqual(await inWorker(kUse), 0);
      assert.strictEqual(other.version(), before);`));
    assert.deepStrictEqual({ status, signal, stderr }, { status: 0, signal: null, stderr: '' });
  });

  test(`${name}: leaves an addon alone that brings the system's OpenSSL later`, { skip: skip || kOnlyShared }, () => {
    const { status, signal, stderr } = run(file, script(`
      const m = require(file);
      await use(m);
      assert.match(require(addons + '/uses_libcrypto.node').version(), /^OpenSSL 3/);
      await use(m);`));
    assert.deepStrictEqual({ status, signal, stderr }, { status: 0, signal: null, stderr: '' });
  });

  const jemalloc = ['/usr/lib/x86_64-linux-gnu/libjemalloc.so.2'].find((library) => fs.existsSync(library));
  const noPreload = skip || kOnlyShared || (kIsSanitized && 'the sanitizer is itself a preloaded allocator') ||
    (!jemalloc && 'libjemalloc.so.2 is not installed');
  test(`${name}: works under a preloaded allocator`, { skip: noPreload }, () => {
    const { status, signal, stderr } = run(file, script(`
      const m = require(file);
      await use(m);
      const session = new m.ISMTPAsyncSession();
      session.hostname = '127.0.0.1';
      session.port = 1;
      session.connectionType = 2;
      assert.strictEqual(session.sendMessage('Subject: s\\r\\n\\r\\ntext', 'a@b.example', ['c@d.example']), 1);
      assert.ok(require('node:fs').readFileSync('/proc/self/maps', 'utf8').includes('libjemalloc'));`),
      { env: { LD_PRELOAD: jemalloc } });
    assert.deepStrictEqual({ status, signal, stderr }, { status: 0, signal: null, stderr: '' });
  });

  // The engine is loaded by the strict mode of a send; nothing listens there.
  const kStrict = `
    const session = new m.ISMTPAsyncSession();
    session.hostname = '127.0.0.1';
    session.port = 1;
    session.strictGost = true;
    const code = session.sendMessage('Subject: s\\r\\n\\r\\ntext', 'a@b.example', ['c@d.example']);
    const maps = require('node:fs').readFileSync('/proc/self/maps', 'utf8');`;

  test(`${name}: GOST cryptography stays out of node:crypto`, { skip: skip || kOnlyShared || kIsSanitized && 'needs deep binding' }, () => {
    const { status, signal, stderr } = run(file, script(`
      const crypto = require('node:crypto');
      const hashes = crypto.getHashes(), ciphers = crypto.getCiphers(), curves = crypto.getCurves();
      const m = require(file);
      ${kStrict}
      assert.ok(/engines-3\\/gost\\.so/.test(maps), 'the engine is loaded');
      assert.ok([1, 2].includes(code));
      assert.deepStrictEqual(crypto.getHashes(), hashes);
      assert.deepStrictEqual(crypto.getCiphers(), ciphers);
      assert.deepStrictEqual(crypto.getCurves(), curves);
      assert.throws(() => crypto.createHash('md_gost12_256'));
      assert.strictEqual(crypto.createHash('sha256').update('abc').digest('hex').slice(0, 8), 'ba7816bf');
      crypto.generateKeyPairSync('ec', { namedCurve: 'P-256' });`));
    assert.deepStrictEqual({ status, signal, stderr }, { status: 0, signal: null, stderr: '' });
  });

  test(`${name}: the libraries of the module are bound to the system's OpenSSL`,
    { skip: skip || kOnlyShared || kIsSanitized && 'needs deep binding' }, (t) => {
      const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-bindings-'));
      t.after(() => fs.rmSync(folder, { recursive: true }));
      const log = path.join(folder, 'bindings');
      const { status, signal } = run(file, script(`const m = require(file); ${kStrict}`),
        { env: { LD_DEBUG: 'bindings', LD_DEBUG_OUTPUT: log, LD_BIND_NOW: '1' } });
      assert.deepStrictEqual({ status, signal }, { status: 0, signal: null });
      const text = fs.readdirSync(folder).map((entry) => fs.readFileSync(path.join(folder, entry), 'latin1')).join('\n');
      // Who is bound to whom, by functions that only OpenSSL has.
      const bound = new Map();
      const pattern = /binding file (\S+) \[0\] to (\S+) \[0\]: normal symbol `((?:SSL|EVP|CMS|X509|ENGINE|OPENSSL|CRYPTO|BIO|ERR)_\w+)'/g;
      for (const [, from, to] of text.matchAll(pattern)) {
        const user = path.basename(from);
        if (!bound.has(user)) bound.set(user, new Set());
        bound.get(user).add(path.basename(to));
      }
      const system = ['libcrypto.so.3', 'libssl.so.3'];
      for (const user of ['velkor_brennox2_impl.so', 'libcurl.so.4', 'libssl.so.3', 'libcrypto.so.3', 'gost.so']) {
        assert.ok(bound.get(user)?.size > 0, `${user} uses OpenSSL`);
        for (const provider of bound.get(user)) {
          assert.ok(system.includes(provider) || provider === user, `${user} is bound to ${provider}`);
        }
      }
    });

  test(`${name}: says what is missing when the implementation cannot be opened`, { skip: skip || kOnlyShared }, (t) => {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-missing-'));
    t.after(() => fs.rmSync(folder, { recursive: true }));
    const alone = path.join(folder, path.basename(kModule));
    fs.copyFileSync(kModule, alone);
    const { status, stdout, stderr } = run(file, `
      for (let i = 0; i < 2; ++i) {
        try {
          require(${JSON.stringify(alone)});
        } catch (error) {
          console.log(error.code, error.message);
        }
      }`);
    assert.strictEqual(status, 0, stderr);
    const lines = stdout.trim().split('\n');
    assert.strictEqual(lines.length, 2);
    for (const line of lines) {
      assert.match(line, /^ERR_DLOPEN_FAILED velkor_brennox2: cannot open .*velkor_brennox2_impl\.so: .*No such file/);
      assert.match(line, /musl is not/);
    }
  });
}

test("objects of another copy of the module are nobody's", { skip: kIsSanitized && 'sees two copies as a fault of its own' }, (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-copy-'));
  t.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  for (const name of kIsWindows ? ['velkor_brennox2.node'] : ['velkor_brennox2.node', 'velkor_brennox2_impl.so']) {
    fs.copyFileSync(path.join(path.dirname(kModule), name), path.join(folder, name));
  }
  const { status, stderr } = run(process.execPath, script(`
    const own = require(file);
    const other = require(${JSON.stringify(path.join(folder, 'velkor_brennox2.node'))});
    await use(other);
    await use(own);
    const builder = new own.MessageBuilder();
    assert.throws(() => { builder.header = new other.MessageHeader(); }, { name: 'Error', message: 'Invalid argument' });
    assert.throws(() => builder.addAttachments([new other.Attachment()]), { name: 'TypeError', message: 'Value must be Attachment' });
    for (const name of Object.keys(own)) {
      const foreign = new other[name]();
      for (const { get, value } of Object.values(Object.getOwnPropertyDescriptors(own[name].prototype))) {
        if (value !== own[name]) assert.throws(() => (get ?? value).call(foreign), { name: 'TypeError', message: 'Illegal invocation' });
      }
    }`));
  assert.deepStrictEqual({ status, stderr }, { status: 0, stderr: '' });
});

test('the implementation shows nothing but its entry and the allocator', { skip: kOnlyShared }, () => {
  const { stdout, status } = require('node:child_process').spawnSync(
    'nm', ['-D', '--defined-only', '--format=posix', path.join(path.dirname(kModule), 'velkor_brennox2_impl.so')],
    { encoding: 'utf8' });
  assert.strictEqual(status, 0);
  const names = stdout.trim().split('\n').map((line) => line.split(' ')[0]);
  const allocator = ['aligned_alloc', 'calloc', 'free', 'malloc', 'malloc_usable_size', 'memalign', 'posix_memalign', 'realloc'];
  assert.deepStrictEqual(names.filter((name) => !allocator.includes(name)), ['velkor_brennox2_init']);
});
