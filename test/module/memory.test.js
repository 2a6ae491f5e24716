'use strict';
// Objects come and go: in one process over and over, in many workers, with work in flight.
const test = require('node:test');
const assert = require('node:assert');
const { Worker } = require('node:worker_threads');
const v8 = require('node:v8');
const vm = require('node:vm');
const brennox = require('./load.js');
const { called, message } = require('./support.js');

v8.setFlagsFromString('--expose-gc');
const gc = vm.runInNewContext('gc');
const settle = async () => {
  for (let i = 0; i < 5; ++i) {
    gc();
    await new Promise((resolve) => setTimeout(resolve, 5));
  }
};
const isSanitized = /asan/.test(process.env.LD_PRELOAD ?? '');

test('thousands of objects of every class are collected without a crash', async () => {
  for (let round = 0; round < 10; ++round) {
    for (const Class of Object.values(brennox)) {
      for (let i = 0; i < 200; ++i) new Class();
    }
    gc();
  }
  await settle();
});

test('memory of collected bytes is given back', { skip: isSanitized && 'the sanitizer keeps freed memory' }, async () => {
  const round = async () => {
    for (let i = 0; i < 30; ++i) {
      const data = new brennox.Data(Buffer.alloc(1 << 20, i));
      assert.strictEqual(data.bytes()[0], i);
      const attachment = new brennox.Attachment(Buffer.alloc(1 << 20, i), 'a.bin');
      assert.strictEqual(attachment.data.length, 1 << 20);
      if (i % 10 === 0) await settle();
    }
    await settle();
  };
  await round();
  const before = process.memoryUsage.rss();
  for (let i = 0; i < 3; ++i) await round();
  const grown = process.memoryUsage.rss() - before;
  // Each round handles 120 MiB.
  assert.ok(grown < 100 * (1 << 20), `grew by ${grown} bytes`);
});

test('the garbage collector knows how much the library holds', { skip: isSanitized && 'the sanitizer keeps freed memory' }, async () => {
  const bytes = Buffer.alloc(4 << 20);
  for (const make of [
    () => new brennox.Data(bytes),
    () => new brennox.Attachment(bytes),
    () => Object.assign(new brennox.Attachment(), { data: bytes }),
    () => new brennox.MessageParser().Import(bytes),
  ]) {
    await settle();
    const before = process.memoryUsage.rss();
    let largest = 0;
    for (let i = 0; i < 200; ++i) {
      make();
      largest = Math.max(largest, process.memoryUsage.rss() - before);
      await new Promise(setImmediate);
    }
    // 800 MiB in all, by objects that are garbage at once and small to look at.
    assert.ok(largest < 400 * (1 << 20), `grew by ${largest} bytes`);
  }
});

// Long strings stay where the library has them.
const kTexts = {
  'us-ascii': 'plain text & more\n',
  'iso-8859-1': 'na\u00efve text\n',
  'utf-8': '\u0421\u044a\u0435\u0448\u044c \u65e5\u672c \u{1F600}\n',
};
const textMail = (charset, text) => Buffer.concat([
  Buffer.from(`Content-Type: text/plain; charset=${charset}\r\nContent-Transfer-Encoding: 8bit\r\n\r\n`),
  Buffer.from(text, charset === 'utf-8' ? 'utf8' : 'latin1'),
]);

test('long renderings are strings like any other', async () => {
  for (const [charset, line] of Object.entries(kTexts)) {
    const wanted = line.repeat(200000).trimEnd();
    const parser = new brennox.MessageParser();
    parser.Import(textMail(charset, wanted));
    const text = parser.PlainTextBodyRendering();
    const html = parser.HtmlBodyRendering();
    parser.clear();
    await settle();
    assert.ok(text === wanted, charset);
    assert.ok(html.includes(line.trim().replace('&', '&amp;').concat('<br>').repeat(199999)), charset);
    assert.ok(Buffer.from(text).equals(Buffer.from(wanted)), charset);
    assert.strictEqual(text.slice(-20).concat(text.slice(0, 5)), wanted.slice(-20) + wanted.slice(0, 5));
    assert.ok(JSON.parse(JSON.stringify(text)) === wanted, charset);
    assert.ok(structuredClone(text) === wanted, charset);
  }
});

test('long renderings are collected in time', { skip: isSanitized && 'the sanitizer keeps freed memory' }, async () => {
  for (const [charset, line] of Object.entries(kTexts)) {
    const parser = new brennox.MessageParser();
    parser.Import(textMail(charset, line.repeat(Math.ceil((4 << 20) / line.length))));
    await settle();
    const before = process.memoryUsage.rss();
    let largest = 0;
    for (let i = 0; i < 60; ++i) {
      assert.ok(parser.HtmlBodyRendering().length > 2 << 20);
      largest = Math.max(largest, process.memoryUsage.rss() - before);
    }
    // 240 MiB and more in all, and twice that where a character takes two bytes.
    assert.ok(largest < 200 * (1 << 20), `grew by ${largest} bytes with ${charset}`);
  }
});

test('a worker may end while its long renderings are alive', async () => {
  const code = `
    const { parentPort } = require('node:worker_threads');
    const { MessageParser } = require(${JSON.stringify(process.env.VELKOR_BRENNOX2)});
    const parser = new MessageParser();
    parentPort.on('message', (mail) => {
      parser.Import(Buffer.from(mail));
      globalThis.kept = [parser.HtmlBodyRendering(), parser.PlainTextBodyRendering()];
      parentPort.postMessage(globalThis.kept[1]);
      setTimeout(() => process.exit(), 10);
    });`;
  for (const [charset, line] of Object.entries(kTexts)) {
    const wanted = line.repeat(200000).trimEnd();
    const worker = new Worker(code, { eval: true });
    const text = new Promise((resolve, reject) => worker.once('message', resolve).once('error', reject));
    worker.postMessage(textMail(charset, wanted));
    assert.ok((await text) === wanted, charset);
    await new Promise((resolve) => worker.once('exit', resolve));
  }
});

test('objects that only a queued worker knows live until it has called back', async () => {
  const results = [];
  for (let i = 0; i < 30; ++i) {
    results.push(called((callback) => new brennox.MessageParser().ImportAsync(message([`Subject: ${i}`, '', 'text']), callback)));
    const builder = new brennox.MessageBuilder();
    builder.header = new brennox.MessageHeader();
    builder.textBody = 'text';
    results.push(called((callback) => builder.getDataAsync(callback)));
    if (i % 10 === 0) gc();
  }
  await settle();
  for (const [error] of await Promise.all(results)) assert.strictEqual(error, null);
});

test('workers that come and go while they use every class', async () => {
  const code = `
    const brennox = require(${JSON.stringify(process.env.VELKOR_BRENNOX2)});
    for (let round = 0; round < 20; ++round) {
      for (const Class of Object.values(brennox)) new Class();
      new brennox.MessageParser().ImportAsync(Buffer.from('Subject: s\\r\\n\\r\\ntext'), () => {});
    }`;
  const runs = Array.from({ length: 4 }, async () => {
    for (let i = 0; i < 5; ++i) {
      const worker = new Worker(code, { eval: true });
      if (i % 2 === 1) worker.once('online', () => worker.terminate());
      await new Promise((resolve, reject) => worker.once('error', reject).once('exit', resolve));
    }
  });
  await Promise.all(runs);
});

test('objects of one thread are unknown in another', async () => {
  const worker = new Worker(`
    const { parentPort } = require('node:worker_threads');
    const brennox = require(${JSON.stringify(process.env.VELKOR_BRENNOX2)});
    const parser = new brennox.MessageParser();
    parser.Import(Buffer.from('Subject: worker\\r\\n\\r\\n'));
    parentPort.postMessage(parser.header instanceof brennox.MessageHeader && parser.header.subject);`, { eval: true });
  assert.strictEqual(await new Promise((resolve) => worker.once('message', resolve)), 'worker');
});
