'use strict';
const test = require('node:test');
const assert = require('node:assert');
const { MessageHeader, MessageParser } = require('./load.js');
const { message } = require('./support.js');

const typeError = (text) => ({ name: 'TypeError', message: text });

test('a new header is empty', () => {
  const header = new MessageHeader('arguments', 'are ignored');
  for (const name of ['messageID', 'sender', 'from', 'subject', 'userAgent']) {
    assert.strictEqual(header[name], '', name);
  }
  for (const name of ['inReplyTo', 'references', 'to', 'cc', 'bcc', 'replyTo']) {
    assert.deepStrictEqual(header[name], [], name);
  }
  assert.strictEqual(header.date, undefined);
  assert.deepStrictEqual(header.receivedDate, new Date(-1000));
  assert.deepStrictEqual(header.extraHeaders, {});
});

test('date, receivedDate: whole seconds, cut toward zero', () => {
  const header = new MessageHeader();
  for (const [set, read] of [[1999, 1000], [1000, 1000], [0, 0], [-1999, undefined], [-2500, -2000], [253402300799999, 253402300799000], [8.64e15, 8.64e15]]) {
    header.date = new Date(set);
    header.receivedDate = new Date(set);
    assert.deepStrictEqual(header.date, read === undefined ? undefined : new Date(read));
    assert.deepStrictEqual(header.receivedDate, new Date(read ?? -1000));
  }
});

test('date, receivedDate: an invalid Date is no date', () => {
  const header = new MessageHeader();
  header.date = new Date(5000);
  header.date = new Date(NaN);
  header.receivedDate = new Date(NaN);
  assert.strictEqual(header.date, undefined);
  assert.deepStrictEqual(header.receivedDate, new Date(-1000));
});

test('date: only Date objects are taken', () => {
  const header = new MessageHeader();
  for (const value of [1000, '2026-01-01', null, undefined, { getTime: () => 0 }, Object.create(Date.prototype)]) {
    assert.throws(() => { header.date = value; }, typeError('date value must be Date'));
    assert.throws(() => { header.receivedDate = value; }, typeError('receivedDate value must be Date'));
  }
});

test('from, sender: set as a bare mailbox', () => {
  const header = new MessageHeader();
  for (const name of ['from', 'sender']) {
    header[name] = 'a@b.example';
    assert.strictEqual(header[name], 'a@b.example');
    // No display name is parsed out of it.
    header[name] = 'Name <a@b.example>';
    const read = header[name];
    header[name] = 'a@b.example';
    assert.notStrictEqual(read, header[name]);
    assert.ok(read.includes('Name <a@b.example>'), read);
  }
});

test('from: a parsed address reads in its full form, decoded', () => {
  const parser = new MessageParser();
  parser.Import(message(['From: =?utf-8?Q?J=C3=BCrgen?= <j@b.example>', 'To: "Doe, John" <d@b.example>, plain@b.example', '', '']));
  const { from, to } = parser.header;
  assert.strictEqual(from, 'Jürgen <j@b.example>');
  assert.deepStrictEqual(to, ['"Doe, John" <d@b.example>', 'plain@b.example']);
});

for (const name of ['to', 'cc', 'bcc', 'replyTo', 'inReplyTo', 'references']) {
  test(`${name}: a list with another element than a string is refused as a whole`, () => {
    const header = new MessageHeader();
    header[name] = ['a@b.example'];
    for (const list of [['c@d.example', 5], [null], [undefined], [['a@b.example']], new Array(1)]) {
      assert.throws(() => { header[name] = list; }, typeError('array value must be Array of strings'));
    }
    assert.deepStrictEqual(header[name], ['a@b.example']);
    header[name] = [];
    assert.deepStrictEqual(header[name], []);
    header[name] = ['a@b.example', 'c@d.example', 'a@b.example'];
    assert.deepStrictEqual(header[name], ['a@b.example', 'c@d.example', 'a@b.example']);
  });
}

test('texts keep zeros, line breaks and characters beyond the basic plane', () => {
  const header = new MessageHeader();
  for (const text of ['a\0b', '😀 é', '\r\n', '', 'x'.repeat(100_000)]) {
    header.subject = text;
    assert.strictEqual(header.subject, text);
    header.userAgent = text;
    assert.strictEqual(header.userAgent, text);
    header.messageID = text;
    assert.strictEqual(header.messageID, text);
    header.references = [text, text];
    assert.deepStrictEqual(header.references, [text, text]);
  }
  header.subject = 'lone \ud800';
  assert.strictEqual(header.subject, 'lone \ufffd');
});

test('strings are not coerced from other types', () => {
  const header = new MessageHeader();
  assert.throws(() => { header.messageID = 5; }, typeError('messageId value must be string'));
  assert.throws(() => { header.subject = null; }, typeError('subject value must be String'));
  assert.throws(() => { header.subject = new String('boxed'); }, typeError('subject value must be String'));
});

test('setExtraHeader: needs two strings', () => {
  const header = new MessageHeader();
  for (const args of [[], ['X-A'], ['X-A', 1], [1, 'x'], [undefined, undefined]]) {
    assert.throws(() => header.setExtraHeader(...args), typeError('first and second parameter must be a string'));
  }
  assert.deepStrictEqual(header.extraHeaders, {});
});

test('removeExtraHeader, extraHeaderValueForName: need a string', () => {
  const header = new MessageHeader();
  for (const name of ['removeExtraHeader', 'extraHeaderValueForName']) {
    for (const args of [[], [1], [null]]) {
      assert.throws(() => header[name](...args), typeError('first parameter must be a string'));
    }
  }
});

test('extra headers can be set, listed, looked up and removed', () => {
  const header = new MessageHeader();
  assert.strictEqual(header.setExtraHeader('X-A', '1'), undefined);
  header.setExtraHeader('X-B', '2');
  assert.strictEqual(header.extraHeaderValueForName('X-A'), '1');
  assert.deepStrictEqual(header.extraHeaders, { 'X-A': '1', 'X-B': '2' });
  assert.strictEqual(Object.getPrototypeOf(header.extraHeaders), Object.prototype);
  header.setExtraHeader('X-A', '3');
  assert.deepStrictEqual(header.extraHeaders, { 'X-A': '3', 'X-B': '2' });
  assert.strictEqual(header.removeExtraHeader('X-A'), undefined);
  assert.strictEqual(header.extraHeaderValueForName('X-A'), '');
  assert.strictEqual(header.extraHeaderValueForName('X-None'), '');
  assert.deepStrictEqual(header.extraHeaders, { 'X-B': '2' });
  // A snapshot: changing it changes nothing.
  header.extraHeaders['X-C'] = '4';
  assert.deepStrictEqual(header.extraHeaders, { 'X-B': '2' });
});

test('extraHeaders: a field named like a special property is an ordinary one', () => {
  const header = new MessageHeader();
  header.setExtraHeader('__proto__', 'value');
  assert.deepStrictEqual(Object.entries(header.extraHeaders), [['__proto__', 'value']]);
});

test('extraHeaders is read-only', () => {
  assert.throws(() => { new MessageHeader().extraHeaders = {}; }, TypeError);
});

test("a parser's header is a copy, made anew at each read", () => {
  const parser = new MessageParser();
  parser.Import(message(['Subject: original', 'To: a@b.example', '', 'text']));
  const header = parser.header;
  assert.ok(header instanceof MessageHeader);
  assert.strictEqual(header.subject, 'original');
  header.subject = 'changed';
  header.to = [];
  header.setExtraHeader('X-A', '1');
  assert.strictEqual(parser.header.subject, 'original');
  assert.deepStrictEqual(parser.header.to, ['a@b.example']);
  assert.strictEqual(parser.header.extraHeaderValueForName('X-A'), '');
  parser.clear();
  assert.strictEqual(header.subject, 'changed');
});
