'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const constants = require('../../constants.js');

const kHeaders = path.join(__dirname, '../../brennox/include/brennox');

// The members of an enum of the library, its name's prefix removed.
function libraryEnum(file, name, prefix) {
  const text = fs.readFileSync(path.join(kHeaders, file), 'utf8');
  const body = new RegExp(`enum ${name} : int \\{([^]*?)\\n\\};`).exec(text)[1];
  const members = {};
  for (const [, member, value] of body.matchAll(/^\s*(\w+) = (\d+),/gm)) {
    members[member.slice(prefix.length)] = Number(value);
  }
  return members;
}

for (const [name, file, type] of [
  ['ErrorCode', 'ErrorCode.h', 'ErrorCode'],
  ['ConnectionType', 'Flags.h', 'ConnectionType'],
  ['AuthType', 'Flags.h', 'AuthType'],
  ['MessageFlag', 'Flags.h', 'MessageFlag'],
  ['StoreFlagsKind', 'Flags.h', 'IMAPStoreFlagsRequestKind'],
  ['FolderFlag', 'Flags.h', 'IMAPFolderFlag'],
]) {
  test(`${name} has the library's numbers`, () => {
    const members = libraryEnum(file, type, type === 'ErrorCode' ? 'Error' : type);
    assert.ok(Object.keys(members).length >= 3);
    assert.deepStrictEqual({ ...constants[name] }, members);
    assert.ok(Object.isFrozen(constants[name]));
  });
}

test('folder paths convert to modified UTF-7 and back', () => {
  for (const [text, wire] of [
    ['INBOX', 'INBOX'],
    ['A&B', 'A&-B'],
    ['~peter/mail/台北/日本語', '~peter/mail/&U,BTFw-/&ZeVnLIqe-'],
    ['😀', '&2D3eAA-'],
    ['Входящие', '&BBIERQQ+BDQETwRJBDgENQ-'],
    ['a"b\\c%d*', 'a"b\\c%d*'],
    ['', ''],
  ]) {
    assert.strictEqual(constants.encodeFolderPath(text), wire);
    assert.strictEqual(constants.decodeFolderPath(wire), text);
  }
});

test('what is no modified UTF-7 decodes to itself', () => {
  for (const text of ['a&b', '&', 'x&AA-y', 'Входящие']) {
    assert.strictEqual(constants.decodeFolderPath(text), text);
  }
});
