'use strict';
// What the builder writes, read by an independent reader: Python's email package.

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const test = require('node:test');

const { Attachment, MessageBuilder, MessageHeader, MessageParser } = require('./load.js');

// Display names are decoded by hand: the package's own address lists keep the blank between two encoded-words.
const kReader = `
import base64, email, email.policy, json, sys
from email.header import decode_header, make_header
from email.utils import getaddresses
def part(p):
    result = {'type': p.get_content_type(), 'filename': p.get_filename(), 'disposition': p.get_content_disposition(),
              'charset': p.get_content_charset(), 'id': p.get('content-id'), 'encoding': p.get('content-transfer-encoding'),
              'defects': [str(d) for d in p.defects]}
    if p.get_content_type() == 'message/rfc822':
        result['subject'] = p.get_payload()[0]['subject']
    elif p.is_multipart():
        result['parts'] = [part(q) for q in p.get_payload()]
    else:
        result['bytes'] = base64.b64encode(p.get_payload(decode=True)).decode()
    return result
def read(raw):
    m = email.message_from_bytes(raw, policy=email.policy.default)
    plain = email.message_from_bytes(raw)
    addresses = lambda name: [[str(make_header(decode_header(n))), a] for n, a in getaddresses(plain.get_all(name, []))]
    return {'root': part(m), 'subject': m['subject'], 'from': addresses('from'), 'to': addresses('to'),
            'cc': addresses('cc'), 'names': m.keys(), 'version': m['mime-version']}
json.dump([read(base64.b64decode(raw)) for raw in json.load(sys.stdin)], sys.stdout)
`;

const python = spawnSync('python3', ['-c', 'import email']);
const skip = python.status === 0 ? false : 'python3 is not installed';

function readAll(messages) {
  const input = JSON.stringify(messages.map((message) => message.toString('base64')));
  const { status, stdout, stderr } = spawnSync('python3', ['-c', kReader], { input, maxBuffer: 1 << 28 });
  assert.equal(status, 0, String(stderr));
  return JSON.parse(stdout);
}

function read(message) {
  return readAll([message])[0];
}

function bytesOf(part) {
  return Buffer.from(part.bytes, 'base64');
}

function headerOf(fields) {
  return Object.assign(new MessageHeader(), fields);
}

// A header whose addresses have display names, which only parsing gives.
function parsedHeader(text) {
  const parser = new MessageParser();
  parser.Import(Buffer.from(text));
  return parser.header;
}

function checkLines(message) {
  const text = message.toString('latin1');
  assert.ok(text.endsWith('\r\n'));
  for (const line of text.slice(0, -2).split('\r\n')) {
    assert.ok(line.length <= 998, `${line.length} octets in a line`);
    assert.ok(!/[\r\n\0]/.test(line), JSON.stringify(line));
  }
}

test('a mail with everything reads back whole', { skip }, () => {
  const builder = new MessageBuilder();
  builder.header = headerOf({
    from: 'alice@example.test', to: ['bob@example.test', 'юзер@example.test'], cc: ['carol@example.test'],
    bcc: ['secret@example.test'], subject: 'Счёт №5 — «срочно» 😀 '.repeat(8).trim(),
  });
  builder.textBody = 'Привет!\nстрока';
  builder.htmlBody = '<p>Привет <img src="cid:logo@x"></p>';
  const logo = new Attachment(Buffer.from([137, 80, 78, 71, 0, 255]), 'logo.png');
  logo.contentID = 'logo@x';
  builder.addRelatedAttachments([logo]);
  const long = `${'очень длинное имя '.repeat(15)}.pdf`;
  builder.addAttachments([
    new Attachment(Buffer.from('%PDF-1.7\n'), 'счёт.pdf'),
    new Attachment(Buffer.from('x'), long),
    new Attachment(Buffer.from('Subject: inner\r\n\r\nbody\r\n'), 'inner.eml'),
    new Attachment(Buffer.from('x'), 'a "quoted" \\ name.txt'),
  ]);
  const message = builder.data;
  checkLines(message);
  assert.ok(!message.includes('secret@example.test'));
  const mail = read(message);
  assert.equal(mail.subject, 'Счёт №5 — «срочно» 😀 '.repeat(8).trim());
  assert.deepEqual(mail.from, [['', 'alice@example.test']]);
  assert.equal(mail.to.length, 2);
  assert.deepEqual(mail.cc, [['', 'carol@example.test']]);
  assert.equal(mail.version, '1.0');
  const { root } = mail;
  assert.equal(root.type, 'multipart/mixed');
  assert.deepEqual(root.parts.map((part) => part.type),
    ['multipart/related', 'application/pdf', 'application/pdf', 'message/rfc822', 'text/plain']);
  const [related, pdf, longNamed, inner, quoted] = root.parts;
  assert.deepEqual(related.parts.map((part) => part.type), ['multipart/alternative', 'image/png']);
  const [plain, html] = related.parts[0].parts;
  assert.equal(bytesOf(plain).toString(), 'Привет!\r\nстрока');
  assert.equal(bytesOf(html).toString(), '<p>Привет <img src="cid:logo@x"></p>');
  assert.deepEqual(bytesOf(related.parts[1]), Buffer.from([137, 80, 78, 71, 0, 255]));
  assert.equal(related.parts[1].id, '<logo@x>');
  assert.equal(related.parts[1].disposition, 'inline');
  assert.equal(pdf.filename, 'счёт.pdf');
  assert.equal(pdf.disposition, 'attachment');
  assert.equal(longNamed.filename, long);
  assert.equal(inner.subject, 'inner');
  assert.match(inner.encoding, /^[78]bit$/);
  assert.equal(quoted.filename, 'a "quoted" \\ name.txt');
});

test('display names keep their text', { skip }, () => {
  const names = ['Иван Петров', 'Doe, John', 'A "b" c', 'O\'Brien (x)', '日本 太郎', 'É'.repeat(60)];
  const mails = readAll(names.map((name) => {
    const builder = new MessageBuilder();
    const quoted = `"${name.replace(/["\\]/g, '\\$&')}"`;
    builder.header = parsedHeader(`From: ${quoted} <a@example.test>\r\nTo: ${quoted} <b@example.test>\r\n\r\n`);
    builder.textBody = 'x';
    return builder.data;
  }));
  names.forEach((name, i) => {
    assert.deepEqual(mails[i].from, [[name, 'a@example.test']]);
    assert.deepEqual(mails[i].to, [[name, 'b@example.test']]);
  });
});

test('a thousand recipients arrive', { skip }, () => {
  const to = Array.from({ length: 1000 }, (_, i) => `r${i}@example.test`);
  const builder = new MessageBuilder();
  builder.header = headerOf({ from: 'a@example.test', to, subject: 'many' });
  const message = builder.data;
  checkLines(message);
  assert.deepEqual(read(message).to.map(([, address]) => address), to);
});

test('subjects keep their text', { skip }, () => {
  const subjects = [
    'plain', '=?utf-8?Q?looks_encoded?=', 'a'.repeat(400), 'слово '.repeat(60).trim(), '😀'.repeat(50), 'a  b', 'x =?= y',
    'tab\there', 'ends with =', `${'word '.repeat(40)}конец`,
  ];
  const mails = readAll(subjects.map((subject) => {
    const builder = new MessageBuilder();
    builder.header = headerOf({ from: 'a@example.test', subject });
    const message = builder.data;
    checkLines(message);
    return message;
  }));
  // A tab may come back as the blank of a fold.
  subjects.forEach((subject, i) => assert.equal(mails[i].subject.replace(/\t/g, ' '), subject.replace(/\t/g, ' ')));
});

test('contents of every kind come back', { skip }, () => {
  const contents = [
    Buffer.alloc(0), Buffer.from([0]), Buffer.from('a\nb\n'), Buffer.from('a\r\nb\r\n'), Buffer.from('a\rb'),
    Buffer.from('x'.repeat(5000)), Buffer.from('кириллица\r\n'.repeat(50)), Buffer.from('From here\r\n.\r\n'),
    Buffer.from(Array.from({ length: 3000 }, (_, i) => (i * 7919) & 255)),
  ];
  const cases = ['a.txt', 'a.bin', 'a.html', 'a.json'].flatMap((name) =>
    contents.flatMap((content) => ['text', ''].map((body) => ({ name, content, body }))));
  const mails = readAll(cases.map(({ name, content, body }) => {
    const builder = new MessageBuilder();
    builder.textBody = body;
    builder.addAttachments([new Attachment(content, name)]);
    const message = builder.data;
    checkLines(message);
    return message;
  }));
  cases.forEach(({ content, body }, i) => {
    const { root } = mails[i];
    assert.deepEqual(bytesOf(body === '' ? root : root.parts[1]), content);
  });
});

test('no string of a script adds a header field or a line', { skip }, () => {
  const evil = 'x\r\nX-Evil: 1\r\n\r\nX-Evil: 2';
  const builder = new MessageBuilder();
  const header = headerOf({
    from: evil, sender: evil, to: [evil], cc: [evil], replyTo: [evil], subject: evil, messageID: evil,
    inReplyTo: [evil], references: [evil], userAgent: evil,
  });
  header.setExtraHeader('X-Fine', evil);
  header.setExtraHeader(evil, 'x');
  builder.header = header;
  builder.textBody = 'text';
  builder.boundaryPrefix = evil;
  const attachment = new Attachment(Buffer.from('x'), evil);
  Object.assign(attachment, {
    mimeType: evil, charset: evil, contentID: evil, contentLocation: evil, contentDescription: evil, uniqeID: evil,
    partId: evil,
  });
  builder.addAttachments([attachment]);
  builder.addRelatedAttachments([attachment]);
  const message = builder.data;
  checkLines(message);
  const mail = read(message);
  assert.ok(!mail.names.some((name) => /^x-evil$/i.test(name)));
  assert.doesNotMatch(message.toString('latin1'), /\nX-Evil/i);
  assert.equal(mail.root.parts.length, 3);
});
