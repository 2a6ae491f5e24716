'use strict';
// Every hostile and every harmless vector in a real browser: nothing may run, ask for anything, leave its
// place or get lost.
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { MessageParser } = require('./load.js');
const { missing, openBrowser } = require('./render-browser.js');

const FIXTURES = path.join(__dirname, '../fixtures/render');
const skip = missing();

const lines = (name) => fs.readFileSync(path.join(FIXTURES, name), 'utf8').split('\n').filter(Boolean)
  .map((line) => JSON.parse(line));

function parserOf(mail) {
  const parser = new MessageParser();
  parser.Import(mail);
  return parser;
}

const mailOf = (html) => Buffer.from('From: a@ok.test\r\nSubject: vector\r\nMIME-Version: 1.0\r\n' +
  'Content-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n' +
  `${Buffer.from(html).toString('base64').replace(/.{76}/g, '$&\r\n')}\r\n`);

function assertClean(results) {
  const faulty = results.filter(({ faults }) => faults.length > 0);
  assert.deepEqual(faulty.map(({ id, faults }) => ({ id, faults })), []);
}

describe('renderings in a browser', { skip: skip ?? false, timeout: 600_000 }, () => {
  let browser;
  before(async () => { browser = await openBrowser(); });
  after(async () => { await browser?.close(); });

  test('the check sees what unsafe HTML does', async () => {
    const unsafe = {
      script: '<script>alert(1)</script>',
      handler: '<img src=x onerror=alert(1)>',
      request: '<img src=http://leak.test/a.png>',
      sheet: '<style>body{background:url(http://leak.test/b)}</style>',
      place: '<p style="position:fixed;top:0;left:0;width:100%;height:100%">x</p>',
      page: '<style>#after{color:red}</style>',
      escape: '</div><p id=x>x</p>',
      link: '<a href=javascript:alert(1)>x</a>',
      refresh: '<meta http-equiv=refresh content="0;url=http://leak.test/c">',
    };
    const results = await browser.show(Object.entries(unsafe).map(([id, html]) => ({ id, html })));
    assert.deepEqual(results.filter(({ faults }) => faults.length === 0).map(({ id }) => id), []);
  });

  test('hostile bodies', async () => {
    const vectors = [...lines('html.jsonl'), ...lines('own.jsonl')];
    assert.ok(vectors.length > 1300);
    assertClean(await browser.show(vectors.map(({ id, html }) => ({ id, html: parserOf(mailOf(html)).HtmlRendering() }))));
  });

  test('hostile mails', async () => {
    const mails = JSON.parse(fs.readFileSync(path.join(FIXTURES, 'eml.json')));
    const results = await browser.show(mails.map(({ id, file }) =>
      ({ id, html: parserOf(fs.readFileSync(path.join(FIXTURES, file))).HtmlRendering() })));
    assertClean(results);
    for (const [index, { id, mustText = [], secret }] of mails.entries()) {
      for (const text of mustText) {
        assert.ok(results[index].text.includes(text), `${id} shows ${text}: ${results[index].text.slice(0, 200)}`);
      }
      assert.ok(!secret || !new RegExp(`="[^"]*${secret}`).test(results[index].html), `${id} keeps its secret`);
    }
  });

  test('harmless bodies keep what makes them readable', async () => {
    const vectors = lines('benign.jsonl');
    const results = await browser.show(vectors.map(({ id, html, checks }) =>
      ({ id, html: parserOf(mailOf(html)).HtmlBodyRendering(), checks })));
    assertClean(results);
    for (const [index, { id, text, noText }] of vectors.entries()) {
      for (const wanted of text) {
        assert.ok(results[index].text.includes(wanted), `${id} shows ${wanted}`);
      }
      for (const unwanted of noText) {
        assert.ok(!results[index].text.includes(unwanted), `${id} does not show ${unwanted}`);
      }
    }
  });
});
