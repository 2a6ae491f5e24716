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

// Scripts keep these in their own code and data, so they never change.
const kFixed = {
  ErrorCode: { None: 0, Connection: 1, TLSNotAvailable: 2, Certificate: 4, Authentication: 5, Append: 16, StartTLSNotAvailable: 25, SendMessage: 30 },
  ConnectionType: { Clear: 1, StartTLS: 2, TLS: 4 },
  AuthType: {
    SASLNone: 0, SASLCRAMMD5: 1, SASLPlain: 2, SASLGSSAPI: 4, SASLDIGESTMD5: 8, SASLLogin: 16, SASLSRP: 32, SASLNTLM: 64, SASLKerberosV4: 128, XOAuth2: 256,
  },
  MessageFlag: {
    None: 0, Seen: 1, Answered: 2, Flagged: 4, Deleted: 8, Draft: 16, MDNSent: 32, Forwarded: 64, SubmitPending: 128, Submitted: 256,
  },
  StoreFlagsKind: { Add: 0, Remove: 1, Set: 2 },
  FolderFlag: {
    None: 0, Marked: 1, Unmarked: 2, NoSelect: 4, NoInferiors: 8, Inbox: 16, SentMail: 32, Starred: 64, AllMail: 128, Trash: 256, Drafts: 512, Spam: 1024,
    Important: 2048, Archive: 4096,
  },
};
for (const [name, numbers] of Object.entries(kFixed)) {
  test(`${name}: the numbers that are fixed`, () => {
    const own = constants[name];
    assert.deepStrictEqual(Object.fromEntries(Object.keys(numbers).map((key) => [key, own[key]])), numbers);
    assert.strictEqual(new Set(Object.values(own)).size, Object.keys(own).length, 'no number twice');
  });
}

test('the numbers inside the library that are fixed', () => {
  const kinds = libraryEnum('Flags.h', 'IMAPMessagesRequestKind', 'IMAPMessagesRequestKind');
  const { Flags, Headers, Structure, InternalDate, HeaderSubject } = kinds;
  assert.deepStrictEqual([Flags, Headers, Structure, InternalDate, HeaderSubject], [1, 2, 4, 8, 32]);
  const capabilities = libraryEnum('Flags.h', 'IMAPCapability', 'IMAPCapability');
  assert.deepStrictEqual([capabilities.Move, capabilities.QResync, capabilities.CreateSpecialUse], [10, 13, 37]);
});

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
