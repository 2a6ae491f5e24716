'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { test, describe } = require('node:test');
const { MessageParser } = require('./load.js');

const FIXTURES = path.join(__dirname, '../fixtures/render');

function parsed(mail) {
  const parser = new MessageParser();
  parser.Import(Buffer.isBuffer(mail) ? mail : Buffer.from(mail));
  return parser;
}

function fixture(name) {
  return fs.readFileSync(path.join(FIXTURES, name));
}

const HEAD = 'From: Ann <ann@ok.test>\r\nTo: b@ok.test\r\nSubject: S\r\nMIME-Version: 1.0\r\n';

describe('plain text of whole mails', () => {
  for (const file of fs.readdirSync(path.join(FIXTURES, 'plain')).filter((name) => name.endsWith('.eml'))) {
    const name = file.slice(0, -4);
    test(`${name} reads as wanted`, () => {
      assert.equal(parsed(fixture(`plain/${file}`)).PlainTextBodyRendering(), fixture(`plain/${name}.body.txt`).toString());
    });
    if (fs.existsSync(path.join(FIXTURES, 'plain', `${name}.full.txt`))) {
      test(`${name} reads as wanted with its header block`, () => {
        assert.equal(parsed(fixture(`plain/${file}`)).PlainTextRendering(), fixture(`plain/${name}.full.txt`).toString());
      });
    }
  }
});

describe('hostile mails', () => {
  for (const { id, file, secret } of JSON.parse(fixture('eml.json'))) {
    test(`${id} renders in every form without control characters`, () => {
      const parser = parsed(fixture(file));
      const forms = [parser.HtmlRendering(), parser.HtmlBodyRendering(), parser.PlainTextRendering(),
        parser.PlainTextBodyRendering()];
      for (const text of forms) {
        assert.doesNotMatch(text, /[\u0000-\u0008\u000b\u000c\u000e-\u001f\u007f-\u009f]/);
      }
      for (const html of forms.slice(0, 2)) {
        assert.doesNotMatch(html, /<(script|svg|iframe|object|form|input|link|meta|base)\b/i);
        assert.doesNotMatch(html.replace(/"[^"]*"/g, '""'), /<[^>]* on\w+\s*=/i);
        if (secret) {
          assert.doesNotMatch(html, new RegExp(`="[^"]*${secret}`));
        }
      }
    });
  }
});

test('attachments get no rows, attached pictures are shown after the body', () => {
  const pixel = 'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==';
  const html = parsed(`${HEAD}Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nbody\r\n--b\r\n` +
    `Content-Type: application/pdf; name=report.pdf\r\nContent-Disposition: attachment\r\n\r\nx\r\n--b\r\n` +
    `Content-Type: image/png; name=pic.png\r\nContent-Disposition: attachment; filename=pic.png\r\n` +
    `Content-Transfer-Encoding: base64\r\n\r\n${pixel}\r\n--b--\r\n`).HtmlRendering();
  assert.ok(!html.includes('report.pdf'));
  assert.ok(!html.includes('<hr'));
  assert.ok(html.indexOf('body') < html.indexOf(`data:image/png;base64,${pixel}`));
});

test('an embedded message is shown with a header block of its own', () => {
  const html = parsed(`${HEAD}Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nouter\r\n--b\r\n` +
    'Content-Type: message/rfc822\r\n\r\nFrom: c@ok.test\r\nSubject: Inner <i>\r\n\r\ninner text\r\n--b--\r\n').HtmlRendering();
  assert.match(html, /outer[^]*Inner &lt;i&gt;[^]*c@ok\.test[^]*inner text/);
});

test('a body rendering has neither header nor attachments', () => {
  const html = parsed(`${HEAD}Content-Type: text/html\r\n\r\n<p>x</p>`).HtmlBodyRendering();
  assert.match(html, /<p>x<\/p>/);
  assert.ok(!html.includes('ann@ok.test'));
});

test('an empty parser renders as nothing', () => {
  const parser = new MessageParser();
  for (const name of ['HtmlRendering', 'HtmlBodyRendering', 'PlainTextRendering', 'PlainTextBodyRendering']) {
    assert.equal(parser[name](), '');
  }
});
