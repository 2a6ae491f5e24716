'use strict';
// The result classes of IMAP and POP as plain value holders.
const test = require('node:test');
const assert = require('node:assert');
const {
  IMAPFetchFoldersOperation, IMAPFolder, IMAPFolderInfo, IMAPFolderStatus, IMAPMessage, IMAPSyncResult, POPMessageInfo,
} = require('./load.js');

test('IMAPFolder: a new one is empty', () => {
  const folder = new IMAPFolder();
  assert.strictEqual(folder.path, '');
  assert.strictEqual(folder.delimiter, '\0');
  assert.strictEqual(folder.flags, 0);
  assert.strictEqual(typeof folder.description(), 'string');
});

test('texts are kept as they are', () => {
  for (const [object, name] of [[new IMAPFolder(), 'path'], [new POPMessageInfo(), 'uid']]) {
    for (const text of ['', 'имя', '日本語/台北', '😀', 'a\0b', 'x'.repeat(10000)]) {
      object[name] = text;
      assert.strictEqual(object[name], text);
    }
  }
});

test('IMAPFolder.delimiter: the first byte of the text', () => {
  const folder = new IMAPFolder();
  for (const [set, read] of [['/', '/'], ['./', '.'], ['', '\0'], ['\0x', '\0'], ['é', 'Ã'], ['Я', 'Ð']]) {
    folder.delimiter = set;
    assert.strictEqual(folder.delimiter, read);
    assert.strictEqual(folder.delimiter.length, 1);
  }
});

test('IMAPFolder.flags: any signed 32-bit number', () => {
  const folder = new IMAPFolder();
  for (const [set, read] of [[4097, 4097], [-1, -1], [4294967295, -1], [2.9, 2], [NaN, 0], [Infinity, 0]]) {
    folder.flags = set;
    assert.strictEqual(folder.flags, read);
  }
});

const kUnsigned = [[0, 0], [7, 7], [4294967295, 4294967295], [-1, 4294967295], [4294967296, 0], [2.7, 2], [-2.7, 4294967294], [NaN, 0]];
for (const [Class, names] of [
  [IMAPFolderInfo, ['uidNext', 'uidValidity', 'firstUnseenUid']],
  [IMAPFolderStatus, ['unseenCount', 'messageCount', 'recentCount', 'uidNext', 'uidValidity']],
  [IMAPMessage, ['sequenceNumber', 'uid', 'size']],
  [POPMessageInfo, ['index', 'size']],
]) {
  for (const name of names) {
    test(`${Class.name}.${name}: unsigned 32 bits, others wrap`, () => {
      const object = new Class();
      assert.strictEqual(object[name], 0);
      for (const [set, read] of kUnsigned) {
        object[name] = set;
        assert.strictEqual(object[name], read);
      }
    });
  }
}

for (const [Class, name] of [[IMAPFolderInfo, 'modSequenceValue'], [IMAPFolderStatus, 'highestModSeqValue']]) {
  test(`${Class.name}.${name}: set as a signed 64-bit number, read as an unsigned one`, () => {
    const object = new Class();
    for (const [set, read] of [[0, 0], [2 ** 53, 2 ** 53], [2 ** 53 + 2, 2 ** 53 + 2], [2 ** 62, 2 ** 62], [2 ** 64, 2 ** 63], [-1, 2 ** 64], [1.9, 1], [NaN, 0]]) {
      object[name] = set;
      assert.strictEqual(object[name], read);
    }
    assert.throws(() => { object[name] = 1n; }, { name: 'TypeError', message: 'Value must be number' });
  });
}

test('IMAPFolderInfo.messageCount: signed', () => {
  const info = new IMAPFolderInfo();
  info.messageCount = -5;
  assert.strictEqual(info.messageCount, -5);
  info.messageCount = 4294967295;
  assert.strictEqual(info.messageCount, -1);
});

test('IMAPFolderInfo.allowsNewPermanentFlags: no coercion from numbers, and a text of its own', () => {
  const info = new IMAPFolderInfo();
  assert.strictEqual(info.allowsNewPermanentFlags, false);
  info.allowsNewPermanentFlags = true;
  assert.throws(() => { info.allowsNewPermanentFlags = 0; }, { name: 'TypeError', message: 'Value must be bool' });
  assert.strictEqual(info.allowsNewPermanentFlags, true);
});

test('IMAPMessage: flags and originalFlags are signed bit masks of their own', () => {
  const message = new IMAPMessage();
  message.flags = 5;
  message.originalFlags = 4294967295;
  assert.strictEqual(message.flags, 5);
  assert.strictEqual(message.originalFlags, -1);
  message.flags = 4294967295;
  assert.strictEqual(message.flags, -1);
});

test('IMAPMessage.htmlRendering: needs the name of a folder', () => {
  const message = new IMAPMessage();
  for (const args of [[], [5], [null], [undefined]]) {
    assert.throws(() => message.htmlRendering(...args), { name: 'TypeError', message: 'first parameter must be a string' });
  }
});

test('IMAPMessage.htmlRendering: a message that nobody fetched renders without asking a server', () => {
  assert.strictEqual(new IMAPMessage().htmlRendering('INBOX'), '');
});

for (const [Class, values] of [
  [IMAPFolder, { path: 'work/&BB4-', delimiter: '/', flags: 4097 }],
  [IMAPFolderStatus, { unseenCount: 101, messageCount: 102, recentCount: 103, uidNext: 104, uidValidity: 4294967295, highestModSeqValue: 106 }],
  [IMAPMessage, { uid: 101, sequenceNumber: 102, flags: 257 }],
]) {
  test(`${Class.name}.description: names the class and what the object holds now`, () => {
    const object = new Class();
    assert.match(object.description(), new RegExp(`^<${Class.name}: .*>$`));
    Object.assign(object, values);
    for (const value of Object.values(values)) assert.ok(object.description().includes(String(value)), object.description());
    assert.strictEqual(object.description(1, 'ignored'), object.description());
  });
}

test('IMAPSyncResult: a new one has two empty lists, which are read-only', () => {
  const result = new IMAPSyncResult();
  assert.deepStrictEqual(result.modifiedOrAddedMessages, []);
  assert.deepStrictEqual(result.vanishedMessages, []);
  assert.throws(() => { result.vanishedMessages = [1]; }, TypeError);
});

test('IMAPFetchFoldersOperation.folders: empty for an operation that never ran', () => {
  assert.deepStrictEqual(new IMAPFetchFoldersOperation().folders(), []);
});

test('POPMessageInfo: uid and UID are one property', () => {
  const info = new POPMessageInfo();
  assert.strictEqual(info.uid, '');
  info.uid = 'abc';
  assert.strictEqual(info.UID, 'abc');
  info.UID = 'def';
  assert.strictEqual(info.uid, 'def');
});
