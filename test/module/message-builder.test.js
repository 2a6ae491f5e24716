'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const brennox = require('./load.js');
const { called, temporaryFolder } = require('./support.js');

const { Attachment, MessageBuilder, MessageHeader, MessageParser } = brennox;
const probe = require(path.join(process.env.BRENNOX_TEST_ADDONS, 'probe.node'));
const typeError = (text) => ({ name: 'TypeError', message: text });
const isPlainError = (error) => error.constructor === Error;

function header(subject) {
  const result = new MessageHeader();
  result.from = 'from@b.example';
  result.to = ['to@b.example'];
  result.subject = subject;
  result.date = new Date(1000000000000);
  result.messageID = 'fixed@b.example';
  return result;
}

function builder({ subject = 'subject', text = 'text body' } = {}) {
  const result = new MessageBuilder();
  result.header = header(subject);
  result.textBody = text;
  return result;
}

function parsed(bytes) {
  const parser = new MessageParser();
  parser.Import(bytes);
  return parser;
}

test('a new builder', () => {
  const fresh = new MessageBuilder('arguments', 'are ignored');
  assert.strictEqual(fresh.keyUsagePolicy, 'kupNone');
  assert.deepStrictEqual(fresh.attachments, []);
  assert.deepStrictEqual(fresh.relatedAttachments, []);
  for (const name of ['htmlBody', 'textBody', 'boundaryPrefix']) assert.strictEqual(fresh[name], '');
});

test('textBody reports the text of htmlBody', () => {
  assert.throws(() => { new MessageBuilder().textBody = 5; }, typeError('htmlBody value must be string'));
});

test('header: reading gives a copy, assigning stores one', () => {
  const object = builder({ subject: 'first' });
  const read = object.header;
  assert.ok(read instanceof MessageHeader);
  read.subject = 'second';
  assert.strictEqual(object.header.subject, 'first');
  object.header = read;
  assert.strictEqual(object.header.subject, 'second');
  read.subject = 'third';
  assert.strictEqual(object.header.subject, 'second');
});

test('header: other values are refused', () => {
  const object = builder({ subject: 'kept' });
  const wrapped = {};
  probe.wrap(wrapped);
  for (const value of [{}, [], 'text', 5, true, Symbol('header'), new Attachment(), new brennox.Data(), object, wrapped]) {
    assert.throws(() => { object.header = value; }, (error) => isPlainError(error) && error.message === 'Invalid argument');
  }
  for (const value of [null, undefined]) {
    assert.throws(() => { object.header = value; }, typeError('Cannot convert undefined or null to object'));
  }
  assert.strictEqual(object.header.subject, 'kept');
});

for (const name of ['attachments', 'relatedAttachments']) {
  const add = `add${name[0].toUpperCase()}${name.slice(1)}`;

  test(`${name}: setting stores copies, reading shares them`, () => {
    const object = new MessageBuilder();
    const mine = new Attachment(Buffer.from('bytes'), 'a.txt');
    object[name] = [mine];
    mine.filename = 'changed.txt';
    mine.data = Buffer.from('changed');
    const [stored] = object[name];
    assert.ok(stored instanceof Attachment);
    assert.strictEqual(stored.filename, 'a.txt');
    assert.strictEqual(stored.data.toString(), 'bytes');
    stored.filename = 'shared.txt';
    assert.strictEqual(object[name][0].filename, 'shared.txt');
    object[name] = [];
    assert.deepStrictEqual(object[name], []);
    assert.strictEqual(stored.filename, 'shared.txt');
  });

  test(`${name}: a list with a foreign element is refused as a whole`, () => {
    const object = new MessageBuilder();
    object[name] = [new Attachment(Buffer.from('x'), 'kept.txt')];
    const wrapped = {};
    probe.wrap(wrapped);
    for (const element of [{}, 5, 'text', []]) {
      assert.throws(() => { object[name] = [new Attachment(), element]; }, isPlainError);
    }
    for (const element of [new MessageHeader(), new brennox.Data(), wrapped]) {
      assert.throws(() => { object[name] = [new Attachment(), element]; }, TypeError);
    }
    for (const value of [{}, 'text', null, undefined, new Attachment(), { length: 0 }]) {
      assert.throws(() => { object[name] = value; }, typeError('Attachments value must be array'));
    }
    assert.deepStrictEqual(object[name].map(({ filename }) => filename), ['kept.txt']);
  });

  test(`${add}: appends copies in order; elements before a foreign one stay`, () => {
    const object = new MessageBuilder();
    const first = new Attachment(Buffer.from('1'), '1.txt');
    assert.strictEqual(object[add]([first, new Attachment(Buffer.from('2'), '2.txt')]), undefined);
    first.filename = 'changed.txt';
    object[add]([]);
    object[add]([new Attachment(Buffer.from('3'), '3.txt')]);
    assert.throws(() => object[add]([new Attachment(Buffer.from('4'), '4.txt'), {}, new Attachment(Buffer.from('5'), '5.txt')]), isPlainError);
    assert.deepStrictEqual(object[name].map(({ filename }) => filename), ['1.txt', '2.txt', '3.txt', '4.txt']);
    for (const args of [[], [{}], [first], ['x']]) {
      assert.throws(() => object[add](...args), typeError('Attachments value must be array'));
    }
  });
}

test('data: the message, built from what was set', () => {
  const object = builder({ subject: 'Größe', text: 'Текст' });
  object.htmlBody = '<p>HTML</p>';
  object.addAttachments([new Attachment(Buffer.alloc(5000, 'attached'), 'файл.bin')]);
  const bytes = object.data;
  assert.ok(Buffer.isBuffer(bytes));
  const parser = parsed(bytes);
  assert.strictEqual(parser.header.subject, 'Größe');
  assert.strictEqual(parser.header.from, 'from@b.example');
  assert.deepStrictEqual(parser.header.to, ['to@b.example']);
  assert.deepStrictEqual(parser.header.date, new Date(1000000000000));
  const [attachment] = parser.attachments;
  assert.strictEqual(attachment.filename, 'файл.bin');
  assert.ok(attachment.data.equals(Buffer.alloc(5000, 'attached')));
});

test('data: writing into the Buffer never changes the builder', () => {
  for (const text of ['short', 'long '.repeat(100_000)]) {
    const object = builder({ text });
    const first = object.data;
    const kept = Buffer.from(first);
    first.fill(0);
    assert.ok(object.data.equals(kept));
    object.data.fill(1);
    assert.ok(object.data.equals(kept));
  }
});

test('data: an attachment changed after it was added is built as it was', () => {
  const object = builder();
  const attachment = new Attachment(Buffer.from('before'), 'before.txt');
  object.addAttachments([attachment]);
  attachment.filename = 'after.txt';
  attachment.data = Buffer.from('after');
  const [built] = parsed(object.data).attachments;
  assert.strictEqual(built.filename, 'before.txt');
  assert.strictEqual(built.data.toString(), 'before');
});

test("data: a change through the builder's own attachment objects is built", () => {
  const object = builder();
  object.addAttachments([new Attachment(Buffer.from('x'), 'before.txt')]);
  void object.data;
  object.attachments[0].filename = 'after.txt';
  assert.strictEqual(parsed(object.data).attachments[0].filename, 'after.txt');
});

test('data: a certificate that cannot be had throws an Error that says so', () => {
  const object = builder();
  object.SetSignerCert('no such certificate');
  assert.throws(() => object.data, (error) => error.constructor === Error && error.message.length > 0 && error.message !== 'Unknown error!');
});

test('getDataAsync: calls back with null and the bytes', async () => {
  const object = builder({ text: 'text '.repeat(10_000) });
  assert.strictEqual(object.getDataAsync(() => {}), undefined);
  const [error, bytes, ...more] = await called((callback) => object.getDataAsync(callback));
  assert.strictEqual(error, null);
  assert.deepStrictEqual(more, []);
  const kept = object.data;
  assert.ok(bytes.equals(kept));
  bytes.fill(0);
  assert.ok(object.data.equals(kept));
});

test('getDataAsync: needs a function', () => {
  for (const args of [[], [5], [{}], [null]]) {
    assert.throws(() => new MessageBuilder().getDataAsync(...args), typeError('first parameter must be a callback'));
  }
});

test('getDataAsync: a failure calls back with the error alone', async () => {
  const object = builder();
  object.SetSignerCert('no such certificate');
  const result = await called((callback) => object.getDataAsync(callback));
  assert.deepStrictEqual(result.map(String), ['Error: Error while buiding message data']);
});

test('many builds of one builder at once give the same bytes', async () => {
  const object = builder({ text: 'text '.repeat(50_000) });
  const results = await Promise.all(Array.from({ length: 16 }, () => called((callback) => object.getDataAsync(callback))));
  for (const [error, bytes] of results) {
    assert.strictEqual(error, null);
    assert.ok(bytes.equals(results[0][1]));
  }
});

test('Write: writes the message and gives undefined', (t) => {
  const file = path.join(temporaryFolder(t), 'message.eml');
  const object = builder();
  assert.strictEqual(object.Write(file), undefined);
  assert.ok(fs.readFileSync(file).equals(object.data));
});

test('Write: failures are not reported', (t) => {
  const folder = temporaryFolder(t);
  assert.strictEqual(builder().Write(path.join(folder, 'none', 'file')), undefined);
  const unsigned = builder();
  unsigned.SetSignerCert('no such certificate');
  assert.strictEqual(unsigned.Write(path.join(folder, 'file')), undefined);
  assert.deepStrictEqual(fs.readdirSync(folder), []);
  for (const args of [[], [5], [null]]) {
    assert.throws(() => builder().Write(...args), typeError('first parameter must be a string'));
  }
});

test('WriteAsync: writes the message and calls back with null', async (t) => {
  const folder = temporaryFolder(t);
  const file = path.join(folder, 'message.eml');
  const object = builder();
  assert.deepStrictEqual(await called((callback) => object.WriteAsync(file, callback)), [null]);
  assert.ok(fs.readFileSync(file).equals(object.data));
  // A path that cannot be written is no failure of the build.
  assert.deepStrictEqual(await called((callback) => object.WriteAsync(path.join(folder, 'none', 'f'), callback)), [null]);
  object.SetSignerCert('no such certificate');
  const result = await called((callback) => object.WriteAsync(file, callback));
  assert.deepStrictEqual(result.map(String), ['Error: Error while reading message data']);
});

test('WriteAsync: the texts of wrong arguments', () => {
  const object = new MessageBuilder();
  for (const args of [[], [5], [5, () => {}]]) {
    assert.throws(() => object.WriteAsync(...args), typeError('first parameter must be a string'));
  }
  for (const args of [['file'], ['file', 5], ['file', {}]]) {
    assert.throws(() => object.WriteAsync(...args), typeError('first parameter must be a callback'));
  }
});

test('SetSignerCert: the texts of wrong arguments', () => {
  const object = new MessageBuilder();
  for (const args of [[], [Buffer.from('x')], [5], [null], [Buffer.from('x'), 5]]) {
    assert.throws(() => object.SetSignerCert(...args), typeError('first parameter must be a Buffer'));
  }
  for (const value of [5, null, {}, Buffer.from('x')]) {
    assert.throws(() => object.SetSignerCert('cert', value), typeError('second parameter must be a string if specified'));
  }
  assert.strictEqual(object.SetSignerCert('cert'), undefined);
  assert.strictEqual(object.SetSignerCert('cert', undefined), undefined);
  assert.strictEqual(object.SetSignerCert('cert', 'second'), undefined);
});

test('SetRecipientsCerts: the texts of wrong arguments', () => {
  const object = new MessageBuilder();
  for (const args of [[], ['cert'], [{}], [null]]) {
    assert.throws(() => object.SetRecipientsCerts(...args), typeError('first parameter must be Array'));
  }
  for (const list of [['cert', 5], [null], [Buffer.from('x')]]) {
    assert.throws(() => object.SetRecipientsCerts(list), typeError('Value must be Array of strings'));
  }
  assert.strictEqual(object.SetRecipientsCerts([]), undefined);
});

test('SetTempFolder: needs a string', () => {
  for (const args of [[], [5], [null]]) {
    assert.throws(() => new MessageBuilder().SetTempFolder(...args), typeError('first parameter must be a string'));
  }
  assert.strictEqual(new MessageBuilder().SetTempFolder('/tmp'), undefined);
});
