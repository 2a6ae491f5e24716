// IMAP against another maker's server, which does in its own way much that the standards leave open.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');

const { ConnectionType, ErrorCode, FolderFlag, MessageFlag, encodeFolderPath } = require('../../constants.js');
const { Data, IMAPSession } = require('../module/load.js');
const { reasonToSkip, startServers } = require('./harness.js');

const kAdd = 0;
const kSet = 2;

function mail(subject) {
  return 'From: "A. Person" <a@example.test>\r\nTo: b@example.test\r\n' +
    `Subject: ${subject}\r\nDate: Wed, 17 Jul 1996 02:23:25 -0700\r\nMIME-Version: 1.0\r\n` +
    'Content-Type: multipart/alternative; boundary=q\r\n\r\n--q\r\nContent-Type: text/plain\r\n\r\nhello\r\n' +
    `--q\r\nContent-Type: text/html; charset=utf-8\r\n\r\n<p>привет ${subject}</p>\r\n--q--\r\n`;
}

function message(work) {
  try {
    return work();
  } catch (error) {
    return error.message;
  }
}

test('IMAP on Cyrus', { skip: reasonToSkip({ cyrus: true }) }, async (t) => {
  const servers = await startServers({ cyrus: true });
  t.after(() => servers.stop());
  const sessionFor = (username) => Object.assign(new IMAPSession(), {
    hostname: '127.0.0.1', port: servers.ports.cyrus, username, password: 'any', connectionType: ConnectionType.Clear,
  });
  const append = (session, folder, subject) => session.appendMessage(folder, new Data(Buffer.from(mail(subject))), 0);
  const uids = (session, folder) => session.fetchMessagesByUID(folder).map((m) => m.uid);

  await t.test('capabilities', () => {
    const session = sessionFor('alice');
    assert.equal(session.loginIfNeeded(), 0);
    assert.equal(session.capabilityMove(), true);
    assert.equal(session.capabilityCreateSpecialUse(), true);
    assert.equal(session.isQResyncEnabled(), true);
    session.disconnect();
  });

  await t.test('folders, and those with a special use', () => {
    const session = sessionFor('alice');
    const names = ['work', encodeFolderPath('Entwürfe & mehr'), encodeFolderPath('Привет'), encodeFolderPath('日本')];
    for (const name of names) assert.equal(session.createFolder(name), 0, name);
    const special = { Sent: FolderFlag.SentMail, Trash: FolderFlag.Trash, Drafts: FolderFlag.Drafts, Archive: FolderFlag.Archive, Junk: FolderFlag.Spam };
    for (const [name, kind] of Object.entries(special)) assert.equal(session.createSpecialFolder(name, kind), 0, name);
    // One use for one folder; and what is no special use is not sent.
    assert.equal(session.createSpecialFolder('Archive2', 3), ErrorCode.InvalidArgument);
    const folders = Object.fromEntries(session.fetchAllFolders().map((folder) => [folder.path, folder]));
    assert.deepEqual(Object.keys(folders).sort(), ['INBOX', ...names, ...Object.keys(special)].sort());
    for (const [name, kind] of Object.entries(special)) assert.equal(folders[name].flags & kind, kind, name);
    assert.ok(Object.values(folders).every((folder) => folder.delimiter === '.'));
    assert.equal(session.subscribeFolder('work'), 0);
    assert.ok(session.fetchSubscribedFolders().some((folder) => folder.path === 'work'));
    assert.equal(session.unsubscribeFolder('work'), 0);
    assert.ok(!session.fetchSubscribedFolders().some((folder) => folder.path === 'work'));
    assert.equal(session.renameFolder(names[1], 'plain'), 0);
    assert.equal(session.deleteFolder('plain'), 0);
    assert.notEqual(session.deleteFolder('plain'), 0);
    // This server takes no backslash in a name.
    assert.equal(session.createFolder('a\\b'), ErrorCode.Create);
    session.disconnect();
  });

  await t.test('messages', () => {
    const session = sessionFor('bob');
    assert.equal(session.createFolder('target'), 0);
    assert.deepEqual([1, 2, 3, 4, 5].map((i) => append(session, 'INBOX', `m${i}`)), [1, 2, 3, 4, 5]);
    assert.equal(session.fetchMessageByUID('INBOX', 2).bytes().toString(), mail('m2'));
    assert.equal(session.fetchMessageByNumber('INBOX', 3).bytes().toString(), mail('m3'));
    assert.equal(session.fetchMessageByUID('INBOX', 99), undefined);
    assert.equal(session.fetchMessageByNumber('INBOX', 99), undefined);
    const list = session.fetchMessagesByUID('INBOX');
    assert.deepEqual(list.map((m) => [m.uid, m.size]), [1, 2, 3, 4, 5].map((i) => [i, Buffer.byteLength(mail(`m${i}`))]));
    assert.match(list[0].htmlRendering('INBOX'), /привет m1/);
    const all = 511 & ~MessageFlag.Deleted;
    assert.equal(session.storeFlagsByUID('INBOX', 1, kSet, all), 0);
    assert.equal(session.storeFlagsByNumber('INBOX', 2, kAdd, MessageFlag.Flagged), 0);
    assert.deepEqual(session.fetchMessagesByUID('INBOX', 1, 2).map((m) => m.flags & ~MessageFlag.Seen), [all & ~MessageFlag.Seen, MessageFlag.Flagged]);
    assert.equal(session.moveMessages('INBOX', 2, 'target'), 1);
    assert.equal(session.copyMessages('INBOX', 'target', 3), 0);
    // What is behind the last message is not the last message.
    assert.equal(session.copyMessages('INBOX', 'target', 100, 2 ** 40), 0);
    assert.equal(session.moveMessages('INBOX', -1, 'target'), undefined);
    assert.equal(session.storeFlagsByUID('INBOX', -1, kAdd, MessageFlag.Flagged), 0);
    assert.deepEqual(uids(session, 'target'), [1, 2, 3]);
    assert.deepEqual(session.fetchMessagesByUID('INBOX', 3).map((m) => [m.uid, m.flags & MessageFlag.Flagged]), [[3, 0], [4, 0], [5, 0]]);
    assert.equal(session.fetchMessageByUID('target', 3).bytes().toString(), mail('m4'));
    assert.equal(message(() => session.moveMessages('INBOX', 1, 'none')), `Unable to move messages. Error code: ${ErrorCode.Move}`);
    assert.equal(session.copyMessages('INBOX', 'none', 1), ErrorCode.Copy);
    session.disconnect();
  });

  await t.test('synchronising tells of the last message, too, when that has vanished', () => {
    const session = sessionFor('carol');
    for (const i of [1, 2, 3, 4]) append(session, 'INBOX', `s${i}`);
    const { highestModSeqValue } = session.folderStatus('INBOX');
    const other = sessionFor('carol');
    for (const uid of [2, 4]) assert.equal(other.storeFlagsByUID('INBOX', uid, kAdd, MessageFlag.Deleted), 0);
    assert.equal(other.expunge('INBOX'), 0);
    assert.equal(other.storeFlagsByUID('INBOX', 3, kAdd, MessageFlag.Flagged), 0);
    const result = session.syncMessagesByUID('INBOX', highestModSeqValue);
    assert.deepEqual(result.modifiedOrAddedMessages.map((m) => [m.uid, m.flags & MessageFlag.Flagged]), [[3, MessageFlag.Flagged]]);
    assert.deepEqual(result.vanishedMessages, [2, 4]);
    for (const uid of [1, 3]) other.storeFlagsByUID('INBOX', uid, kAdd, MessageFlag.Deleted);
    assert.equal(other.expunge('INBOX'), 0);
    assert.deepEqual(session.syncMessagesByUID('INBOX', highestModSeqValue).vanishedMessages, [1, 2, 3, 4], 'of an empty folder');
    other.disconnect();
    session.disconnect();
  });

  await t.test('the status of a selected folder is as it is now', () => {
    const session = sessionFor('dave');
    append(session, 'INBOX', 'first');
    session.fetchMessagesByUID('INBOX');
    const other = sessionFor('dave');
    append(other, 'INBOX', 'second');
    assert.deepEqual([session.folderStatus('INBOX').messageCount, session.folderStatus('INBOX').uidNext], [2, 3]);
    other.disconnect();
    session.disconnect();
  });
});
