'use strict';
// Every mail under test/fixtures/messages against what is expected of it. An expectation is a list in
// <mail>.json beside the mail; those that we do not share are in exceptions.json with the reason.
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { describe, test } = require('node:test');

const { MessageParser } = require('./load.js');
const { differences } = require('./expectations.js');

// Another collection of the same layout may be named.
const root = process.env.MAIL_FIXTURES || path.join(__dirname, '../fixtures/messages');
const exceptions = JSON.parse(fs.readFileSync(path.join(__dirname, '../fixtures/messages/exceptions.json'), 'utf8'));

function parse(file) {
  const parser = new MessageParser();
  parser.Import(fs.readFileSync(file));
  return parser;
}

const used = new Set();
for (const folder of fs.readdirSync(root, { withFileTypes: true }).filter((entry) => entry.isDirectory())) {
  describe(folder.name, () => {
    const files = fs.readdirSync(path.join(root, folder.name)).filter((name) => !name.endsWith('.json'));
    for (const name of files) {
      const file = path.join(root, folder.name, name);
      if (!fs.existsSync(`${file}.json`)) {
        test(`${name}: parses and renders`, () => readEverything(parse(file)));
        continue;
      }
      test(name, () => {
        const parser = parse(file);
        for (const expectation of JSON.parse(fs.readFileSync(`${file}.json`, 'utf8'))) {
          const key = `${folder.name}/${name}`;
          const excepted = (exceptions[key] || {})[expectation.by] || {};
          const found = differences(parser, expectation);
          for (const field of Object.keys(excepted)) {
            used.add(`${key} ${expectation.by} ${field}`);
            // An exception that is needed no longer has to go.
            assert.ok(found.some(([differs]) => differs === field), `${field}: the exception is not needed`);
          }
          const left = found.filter(([field]) => !(field in excepted));
          assert.deepEqual(left, [], `by ${expectation.by}`);
        }
      });
    }
  });
}

function readEverything(parser) {
  const header = parser.header;
  for (const field of ['subject', 'from', 'to', 'cc', 'bcc', 'replyTo', 'date', 'messageID', 'references', 'extraHeaders']) {
    assert.doesNotThrow(() => header[field]);
  }
  for (const part of [...parser.attachments, ...parser.htmlInlineAttachments]) {
    assert.notEqual(part.filename, '');
    assert.equal(part.mimeType, part.mimeType.toLowerCase());
    assert.ok(Buffer.isBuffer(part.data));
    assert.equal(typeof part.decodedString, 'string');
  }
  for (const rendering of ['HtmlRendering', 'HtmlBodyRendering', 'PlainTextRendering', 'PlainTextBodyRendering']) {
    assert.equal(typeof parser[rendering](), 'string');
  }
}
