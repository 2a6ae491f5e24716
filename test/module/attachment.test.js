'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { Attachment, MessageParser } = require('./load.js');
const { message } = require('./support.js');

const typeError = (text) => ({ name: 'TypeError', message: text });

test('new Attachment() and new Attachment(undefined) are empty', () => {
  for (const attachment of [new Attachment(), new Attachment(undefined), new Attachment(undefined, 'name.txt')]) {
    assert.strictEqual(attachment.data, undefined);
    assert.strictEqual(attachment.partId, undefined);
    for (const name of ['filename', 'charset', 'uniqeID', 'contentID', 'contentLocation', 'contentDescription', 'decodedString']) {
      assert.strictEqual(attachment[name], '', name);
    }
  }
});

test('new Attachment(value): anything but a Buffer is refused', () => {
  for (const value of ['text', 5, null, {}, []]) {
    assert.throws(() => new Attachment(value), typeError('first parameter must be a Buffer'));
    assert.throws(() => new Attachment(value, 5), typeError('first parameter must be a Buffer'));
  }
});

test('new Attachment(buffer, name): the text of a wrong name speaks of a Buffer', () => {
  for (const value of [5, null, {}, true, Buffer.from('n')]) {
    assert.throws(() => new Attachment(Buffer.from('x'), value), typeError('second parameter must be a Buffer'));
  }
});

test('new Attachment(buffer, undefined): the file is called "undefined"', () => {
  assert.strictEqual(new Attachment(Buffer.from('x'), undefined).filename, 'undefined');
  assert.strictEqual(new Attachment(Buffer.from('x')).filename, '');
});

test('the MIME type follows from the file name', () => {
  for (const [name, type] of [['a.txt', 'text/plain'], ['b.pdf', 'application/pdf'], ['c.PNG', 'image/png'], ['none', 'application/octet-stream']]) {
    assert.strictEqual(new Attachment(Buffer.from('x'), name).mimeType, type);
  }
});

test('new Attachment(buffer): the Buffer is copied', () => {
  const buffer = Buffer.from('before');
  const attachment = new Attachment(buffer, 'a.txt');
  buffer.fill(0);
  assert.strictEqual(attachment.data.toString(), 'before');
});

for (const size of [0, 10, 5000, 2_000_000]) {
  test(`data: ${size} bytes are a private copy at each read`, () => {
    const bytes = Buffer.alloc(size, 'bytes');
    const attachment = new Attachment(bytes, 'a.bin');
    const first = attachment.data;
    assert.ok(Buffer.isBuffer(first) && first.equals(bytes));
    first.fill(0);
    assert.ok(attachment.data.equals(bytes));
  });

  test(`data: ${size} bytes of a parsed part are a private copy at each read`, () => {
    const bytes = Buffer.alloc(size, 'bytes');
    const base64 = bytes.toString('base64').replace(/.{76}/g, '$&\r\n');
    for (const [encoding, body] of [['base64', base64], ['7bit', bytes.toString()]]) {
      const parser = new MessageParser();
      parser.Import(message([
        'Subject: s', 'MIME-Version: 1.0', 'Content-Type: application/octet-stream; name=a.bin',
        'Content-Disposition: attachment; filename=a.bin', `Content-Transfer-Encoding: ${encoding}`, '', body]));
      const [part] = parser.attachments;
      const first = part.data;
      assert.ok(first.equals(bytes), encoding);
      first.fill(0);
      assert.ok(part.data.equals(bytes), encoding);
      assert.ok(parser.attachments[0].data.equals(bytes), encoding);
    }
  });
}

test('data: can be set to any view on binary data', () => {
  const attachment = new Attachment();
  attachment.data = new Uint8Array([1, 2, 3]).subarray(1);
  assert.deepStrictEqual(attachment.data, Buffer.from([2, 3]));
  const buffer = Buffer.from('set');
  attachment.data = buffer;
  buffer.fill(0);
  assert.strictEqual(attachment.data.toString(), 'set');
});

test('data: a value that is no Buffer throws a plain Error', () => {
  const attachment = new Attachment(Buffer.from('kept'));
  for (const value of ['text', 5, null, undefined, {}, new ArrayBuffer(3)]) {
    assert.throws(() => { attachment.data = value; }, (error) => error.constructor === Error);
  }
  assert.strictEqual(attachment.data.toString(), 'kept');
});

test('contentID and its neighbours share one text', () => {
  const attachment = new Attachment();
  for (const name of ['uniqeID', 'contentID', 'contentLocation', 'contentDescription']) {
    attachment[name] = name;
    assert.throws(() => { attachment[name] = 5; }, typeError('uniqueId value must be string'));
    assert.strictEqual(attachment[name], name);
  }
});

test('decodedString: by the charset', () => {
  const attachment = new Attachment(Buffer.from([0xcf, 0xf0, 0xe8]), 'a.txt');
  attachment.charset = 'windows-1251';
  assert.strictEqual(attachment.decodedString, 'При');
  attachment.charset = 'utf-8';
  attachment.data = Buffer.from('Привет');
  assert.strictEqual(attachment.decodedString, 'Привет');
  assert.throws(() => { attachment.decodedString = 'x'; }, TypeError);
});

test("a parser's attachments are shared with it", () => {
  const parser = new MessageParser();
  parser.Import(message([
    'Subject: s', 'MIME-Version: 1.0', 'Content-Type: multipart/mixed; boundary=b', '', '--b', '', 'text', '--b',
    'Content-Type: application/pdf; name=a.pdf', 'Content-Disposition: attachment; filename=a.pdf', '', 'pdf', '--b--', '']));
  const [attachment] = parser.attachments;
  assert.ok(attachment instanceof Attachment);
  assert.strictEqual(attachment.filename, 'a.pdf');
  attachment.filename = 'renamed.pdf';
  assert.strictEqual(parser.attachments[0].filename, 'renamed.pdf');
  // They keep what they need after the parser has moved on.
  parser.clear();
  assert.strictEqual(attachment.data.toString().trim(), 'pdf');
});
