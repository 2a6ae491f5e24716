// examples/unpack.js takes a message apart without a server.
'use strict';

const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const { temporaryFolder } = require('./support.js');

const kExample = path.join(__dirname, '../../examples/unpack.js');
const run = (...args) => execFileSync(process.execPath, [kExample, ...args], { encoding: 'utf8', stdio: 'pipe' });

const kPicture = Buffer.from('iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAQAAAC1HAwCAAAAC0lEQVR42mNk+M8AAAMBAQDJ/pLvAAAAAElFTkSuQmCC', 'base64');

function attached(filename, content) {
  return `--a\r\nContent-Type: application/octet-stream\r\nContent-Disposition: attachment; filename="${filename}"\r\n\r\n${content}\r\n`;
}

const kMail = 'From: Ann <ann@example.com>\r\nSubject: <b>one & two\r\nContent-Type: multipart/mixed; boundary=a\r\n\r\n' +
  '--a\r\nContent-Type: multipart/related; boundary=r\r\n\r\n' +
  '--r\r\nContent-Type: text/html; charset=utf-8\r\n\r\n<p onclick="x()">hello <img src="cid:p@x"></p>\r\n' +
  '--r\r\nContent-Type: image/png; name="dot.png"\r\nContent-ID: <p@x>\r\nContent-Transfer-Encoding: base64\r\n\r\n' +
  `${kPicture.toString('base64')}\r\n--r--\r\n` +
  `${attached('notes.txt', 'first')}${attached('notes.txt', 'second')}${attached('../../outside', 'x')}${attached('message.html', 'theirs')}--a--\r\n`;

test('unpack writes a page, the text and every part, and writes over nothing', (t) => {
  const folder = temporaryFolder(t);
  const file = path.join(folder, 'mail.eml');
  fs.writeFileSync(file, kMail);
  const into = path.join(folder, 'one/two');
  const text = run(file, into);
  assert.match(text, /^Subject: <b>one & two$/m);

  const read = (name) => fs.readFileSync(path.join(into, name), 'utf8');
  assert.equal(read('notes.txt'), 'first');
  assert.equal(read('notes (2).txt'), 'second');
  assert.equal(read('message (2).html'), 'theirs');
  assert.deepEqual(fs.readFileSync(path.join(into, 'dot.png')), kPicture);
  const page = read('message.html');
  assert.match(page, /<title>&lt;b>one &amp; two<\/title>/);
  assert.match(page, /hello <img[^>]* src="data:image\/png;base64,/);
  assert.doesNotMatch(page, /onclick/);
  assert.match(read('message.txt'), /hello/);
  const names = fs.readdirSync(into);
  assert.equal(names.length, 7, names.join(', '));
  assert.deepEqual(fs.readdirSync(path.join(folder, 'one')), ['two']);
  for (const name of names) assert.ok(text.includes(`${path.join(into, name)}`), `${name} is not told`);

  run(file, into);
  assert.equal(fs.readdirSync(into).length, 14);
});

test('unpack says what it needs, and what it cannot read', (t) => {
  const folder = temporaryFolder(t);
  assert.throws(() => run('mail.eml'), (error) => error.status === 2 && /^usage: /.test(error.stderr));
  assert.throws(() => run(path.join(folder, 'none.eml'), folder), (error) => error.status === 1 && /ENOENT/.test(error.stderr));
});
