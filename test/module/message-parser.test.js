'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const brennox = require('./load.js');
const { called, message, temporaryFolder } = require('./support.js');

const { Attachment, MessageHeader, MessageParser } = brennox;
const typeError = (text) => ({ name: 'TypeError', message: text });

const kPlain = message(['Subject: plain', 'From: a@b.example', '', 'the body', '']);
const kMixed = message([
  'Subject: mixed', 'MIME-Version: 1.0', 'Content-Type: multipart/mixed; boundary=b', '',
  '--b', 'Content-Type: text/html', '', '<p>the body</p>',
  '--b', 'Content-Type: application/pdf; name=a.pdf', 'Content-Disposition: attachment; filename=a.pdf', '', 'pdf',
  '--b--', '']);

function assertEmpty(parser) {
  assert.ok(parser.header instanceof MessageHeader);
  assert.strictEqual(parser.header.subject, '');
  assert.strictEqual(parser.mainPart, undefined);
  assert.strictEqual(parser.requiredPartsForRendering, undefined);
  assert.deepStrictEqual(parser.attachments, []);
  assert.deepStrictEqual(parser.htmlInlineAttachments, []);
  for (const name of ['isSigned', 'isEncrypted', 'verifyResult']) assert.strictEqual(parser[name], false, name);
  assert.strictEqual(typeof parser.decryptResult, 'boolean');
  assert.strictEqual(parser.signerCertificate, undefined);
  assert.strictEqual(parser.extendedSignInfo, undefined);
  assert.strictEqual(parser.decryptMessage, '');
  for (const name of ['HtmlRendering', 'HtmlBodyRendering', 'PlainTextRendering', 'PlainTextBodyRendering']) {
    assert.strictEqual(typeof parser[name](), 'string', name);
  }
  assert.strictEqual(parser.PlainTextBodyRendering(), '');
}

function assertDefaults(parser) {
  assert.strictEqual(parser.doNotDecrypt, false);
  assert.strictEqual(parser.keyUsagePolicy, 'kupNone');
}

test('a new parser gives empty results', () => {
  const parser = new MessageParser('arguments', 'are ignored');
  assertEmpty(parser);
  assertDefaults(parser);
});

test('doNotDecrypt, keyUsagePolicy: set and read back', () => {
  const parser = new MessageParser();
  parser.doNotDecrypt = true;
  parser.keyUsagePolicy = 'kupEmail';
  assert.strictEqual(parser.doNotDecrypt, true);
  assert.strictEqual(parser.keyUsagePolicy, 'kupEmail');
  assert.throws(() => { parser.doNotDecrypt = 'yes'; }, typeError('doNotDecrypt value must be boolean'));
  assert.throws(() => { parser.keyUsagePolicy = null; }, typeError('keyUsagePolicy value must be string'));
});

test('the texts of wrong arguments', () => {
  const parser = new MessageParser();
  for (const name of ['SetTempFolder', 'Read', 'ReadAsync']) {
    for (const args of [[], [5], [null], [Buffer.from('x')]]) {
      assert.throws(() => parser[name](...args, ...(name === 'ReadAsync' && args.length ? [() => {}] : [])), typeError('first parameter must be a string'));
    }
  }
  for (const args of [['file'], ['file', 5], ['file', {}], ['file', null]]) {
    assert.throws(() => parser.ReadAsync(...args), typeError('second parameter must be a callback'));
  }
  for (const name of ['Import', 'ImportAsync']) {
    for (const args of [[], ['text'], [5], [null], [{}]]) {
      assert.throws(() => parser[name](...args), typeError('first parameter must be a Buffer'));
    }
  }
  assertEmpty(parser);
});

test('Import: parses, and the Buffer may be changed afterwards', () => {
  const parser = new MessageParser();
  const bytes = Buffer.from(kMixed);
  assert.strictEqual(parser.Import(bytes), undefined);
  bytes.fill(0);
  assert.strictEqual(parser.header.subject, 'mixed');
  assert.match(parser.HtmlRendering(), /the body/);
  assert.match(parser.HtmlBodyRendering(), /the body/);
  assert.match(parser.PlainTextRendering(), /the body/);
  assert.match(parser.PlainTextBodyRendering(), /the body/);
  const attachments = parser.attachments;
  assert.deepStrictEqual(attachments.map(({ filename }) => filename), ['a.pdf']);
  assert.ok(attachments[0] instanceof Attachment);
  assert.strictEqual(parser.extendedSignInfo, undefined);
  assert.strictEqual(parser.mainPart, undefined);
  assert.strictEqual(parser.requiredPartsForRendering, undefined);
});

test('HtmlRendering leaves out the list of attachments', () => {
  const parser = new MessageParser();
  parser.Import(kMixed);
  assert.doesNotMatch(parser.HtmlRendering(), /a\.pdf/);
});

test('any bytes can be imported', () => {
  const parser = new MessageParser();
  for (const bytes of [Buffer.alloc(0), Buffer.from([0]), Buffer.from('no header at all'), Buffer.alloc(100_000, 0xff)]) {
    parser.Import(bytes);
    assert.ok(parser.header instanceof MessageHeader);
    assert.strictEqual(typeof parser.HtmlRendering(), 'string');
  }
});

test('ImportAsync: calls back with null alone, and the Buffer may be changed after the call', async () => {
  const parser = new MessageParser();
  const bytes = Buffer.from(kPlain);
  const result = called((callback) => assert.strictEqual(parser.ImportAsync(bytes, callback), undefined));
  bytes.fill(0);
  assert.deepStrictEqual(await result, [null]);
  assert.strictEqual(parser.header.subject, 'plain');
});

test('ImportAsync: without a callback the import still takes effect', async () => {
  for (const callback of [undefined, null, 5, 'text', {}]) {
    const parser = new MessageParser();
    assert.strictEqual(parser.ImportAsync(kPlain, callback), undefined);
    while (parser.header.subject === '') await new Promise((resolve) => setTimeout(resolve, 5));
    assert.strictEqual(parser.header.subject, 'plain');
  }
  const parser = new MessageParser();
  parser.ImportAsync(kPlain);
  while (parser.header.subject === '') await new Promise((resolve) => setTimeout(resolve, 5));
});

test('Read, ReadAsync: parse a file', async (t) => {
  const file = path.join(temporaryFolder(t), 'письмо.eml');
  fs.writeFileSync(file, kPlain);
  const parser = new MessageParser();
  assert.strictEqual(parser.Read(file), undefined);
  assert.strictEqual(parser.header.subject, 'plain');
  const other = new MessageParser();
  assert.deepStrictEqual(await called((callback) => assert.strictEqual(other.ReadAsync(file, callback), undefined)), [null]);
  assert.strictEqual(other.header.subject, 'plain');
});

test('Read, ReadAsync: a file that cannot be read is an Error, and the parser is empty then', async (t) => {
  const folder = temporaryFolder(t);
  for (const file of [path.join(folder, 'none'), folder, '', path.join(folder, 'a\0b')]) {
    const parser = new MessageParser();
    for (const read of [
      () => assert.throws(() => parser.Read(file), (error) => error.constructor === Error && error.message === 'File was not imported'),
      async () => assert.deepStrictEqual((await called((callback) => parser.ReadAsync(file, callback))).map(String), ['Error: File was not imported']),
    ]) {
      parser.Import(kPlain);
      parser.doNotDecrypt = true;
      await read();
      assertEmpty(parser);
      assertDefaults(parser);
      // All members keep working.
      parser.SetTempFolder(folder);
      parser.keyUsagePolicy = 'kupStrict';
      parser.clear();
      assertDefaults(parser);
      parser.Import(kPlain);
      assert.strictEqual(parser.header.subject, 'plain');
    }
  }
});

test('imports keep the settings, reads reset them', async (t) => {
  const file = path.join(temporaryFolder(t), 'message.eml');
  fs.writeFileSync(file, kPlain);
  const parser = new MessageParser();
  const set = () => {
    parser.doNotDecrypt = true;
    parser.keyUsagePolicy = 'kupStrict';
  };
  const assertKept = () => assert.deepStrictEqual([parser.doNotDecrypt, parser.keyUsagePolicy], [true, 'kupStrict']);
  set();
  parser.Import(kPlain);
  assertKept();
  await called((callback) => parser.ImportAsync(kPlain, callback));
  assertKept();
  parser.Read(file);
  assertDefaults(parser);
  set();
  await called((callback) => parser.ReadAsync(file, callback));
  assertDefaults(parser);
  set();
  assert.strictEqual(parser.clear(), undefined);
  assertDefaults(parser);
  assertEmpty(parser);
});

test('a parser whose read is queued shows the old message until the callback', async () => {
  const parser = new MessageParser();
  parser.Import(kPlain);
  const result = called((callback) => parser.ImportAsync(kMixed, callback));
  const until = Date.now() + 50;
  while (Date.now() < until) assert.strictEqual(parser.header.subject, 'plain');
  await result;
  assert.strictEqual(parser.header.subject, 'mixed');
});

test('an attachment outlives its parser and its message', async () => {
  let parser = new MessageParser();
  parser.Import(kMixed);
  const [attachment] = parser.attachments;
  parser.Import(kPlain);
  parser = undefined;
  globalThis.gc?.();
  await new Promise(setImmediate);
  assert.strictEqual(attachment.data.toString().trim(), 'pdf');
});

for (const [what, body, expected] of [
  ['that throws is an uncaught exception', 'throw new Error("thrown");', /uncaught thrown uncaughtException/],
  ['that rejects is an unhandled rejection', 'return Promise.reject(new Error("rejected"));', /uncaught rejected unhandledRejection/],
]) {
  test(`a callback ${what}`, () => {
    const { stdout, status, signal } = spawnSync(process.execPath, ['-e', `
      const { MessageParser } = require(${JSON.stringify(process.env.VELKOR_BRENNOX2)});
      process.on('uncaughtException', (error, origin) => console.log('uncaught', error.message, origin));
      new MessageParser().ImportAsync(Buffer.from('x'), () => { ${body} });
      new MessageParser().ReadAsync('/nonexistent', (error) => { ${body} });`], { encoding: 'utf8' });
    assert.deepStrictEqual({ status, signal }, { status: 0, signal: null });
    assert.strictEqual(stdout.trim().split('\n').filter((line) => expected.test(line)).length, 2, stdout);
  });
}

test('an uncaught exception of a callback ends the process as for any callback', () => {
  const { stderr, status } = spawnSync(process.execPath, ['-e', `
    const { MessageParser } = require(${JSON.stringify(process.env.VELKOR_BRENNOX2)});
    new MessageParser().ImportAsync(Buffer.from('x'), () => { throw new Error('thrown'); });`], { encoding: 'utf8' });
  assert.strictEqual(status, 1);
  assert.match(stderr, /Error: thrown/);
});

// From Node.js 24 on AsyncLocalStorage rests on async context frames, which Node-API's asynchronous work does not
// restore (seen on 24.21 and 26.10; with --no-async-context-frame it does). AsyncLocalStorage.bind() helps there.
const carriesContext = Number(process.versions.node.split('.')[0]) < 24 || process.execArgv.includes('--no-async-context-frame');

test('the callback runs in the async context of its caller, before its microtasks', async () => {
  const { AsyncLocalStorage } = require('node:async_hooks');
  const storage = new AsyncLocalStorage();
  const order = [];
  await storage.run('context', () => called((callback) => new MessageParser().ImportAsync(kPlain, () => {
    order.push('callback', storage.getStore());
    Promise.resolve().then(() => order.push('microtask')).then(callback);
  })));
  assert.deepStrictEqual(order, ['callback', carriesContext ? 'context' : undefined, 'microtask']);
});

test('a bound callback runs in the async context of its caller on every Node.js', async () => {
  const { AsyncLocalStorage } = require('node:async_hooks');
  const storage = new AsyncLocalStorage();
  let seen;
  await storage.run('context', () => called((callback) => new MessageParser().ImportAsync(kPlain, AsyncLocalStorage.bind(() => {
    seen = storage.getStore();
    callback();
  }))));
  assert.strictEqual(seen, 'context');
});
