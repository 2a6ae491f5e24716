// IMAP against a real server. What the session did is looked up by Python's client.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const { performance } = require('node:perf_hooks');
const test = require('node:test');

const { AuthType, ConnectionType, ErrorCode, FolderFlag, MessageFlag, decodeFolderPath, encodeFolderPath } = require('../../constants.js');
const { Data, IMAPFolder, IMAPMessage, IMAPSession, IMAPSyncResult } = require('../module/load.js');
const { kMailOwner } = require('./dovecot.js');
const { reasonToSkip, startServers } = require('./harness.js');

const kAdd = 0;
const kRemove = 1;
const kSet = 2;

function sessionFor(servers, user, settings = {}) {
  return Object.assign(new IMAPSession(), {
    hostname: '127.0.0.1', port: servers.ports.imap, username: user, password: servers.users[user],
    connectionType: ConnectionType.Clear, checkCertificateEnabled: false,
  }, settings);
}

// Runs lines of Python with `m`, a logged-in imaplib client; gives what they store in `result`.
function python(servers, user, lines, ...args) {
  return pythonAt(servers.ports.imap, servers, user, lines, ...args);
}

function pythonAt(port, servers, user, lines, ...args) {
  const code = ['import imaplib, json, sys', 'imaplib._MAXLINE = 100000000',
    'port, user, password, args = json.loads(sys.stdin.read())',
    'm = imaplib.IMAP4("127.0.0.1", port)', 'm.login(user, password)', 'result = None', ...lines,
    'm.logout()', 'print(json.dumps(result))'].join('\n');
  const run = spawnSync('python3', ['-c', code], {
    input: JSON.stringify([port, user, servers.users[user], args]), encoding: 'utf8', maxBuffer: 1 << 28,
  });
  assert.equal(run.status, 0, run.stderr);
  return JSON.parse(run.stdout);
}

// Puts messages into a user's INBOX as a delivery agent would.
function deliver(servers, user, count, make) {
  const inbox = path.join(servers.mail, user, 'inbox');
  for (const folder of [path.dirname(inbox), inbox, ...['cur', 'new', 'tmp'].map((name) => path.join(inbox, name))]) {
    if (!fs.existsSync(folder)) {
      fs.mkdirSync(folder);
      fs.chownSync(folder, kMailOwner, kMailOwner);
    }
  }
  for (let i = 1; i <= count; ++i) {
    const file = path.join(inbox, 'new', `${1600000000 + i}.M${i}P1.test`);
    fs.writeFileSync(file, make(i).replace(/\r\n/g, '\n'));
    fs.chownSync(file, kMailOwner, kMailOwner);
  }
}

function mail(subject, body = 'Hello\r\n') {
  return `From: "A. Person" <a@example.test>\r\nTo: b@example.test\r\nSubject: ${subject}\r\n` +
    `Message-ID: <${crypto.createHash('md5').update(subject).digest('hex')}@example.test>\r\n` +
    'Date: Wed, 17 Jul 1996 02:23:25 -0700\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n' + body;
}

function append(session, folder, text) {
  return session.appendMessage(folder, new Data(Buffer.from(text)), 0);
}

const called = (work) => new Promise((resolve, reject) => {
  work((error, value) => (error ? reject(error) : resolve(value)));
});

function message(work) {
  try {
    return work();
  } catch (error) {
    return error.message;
  }
}

test('IMAP on a real server', { skip: reasonToSkip({ dovecot: true, old: true, badtls: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true, old: true, badtls: true });
  t.after(() => servers.stop());
  const { ports } = servers;
  const alice = 'alice@example.test';
  const bob = 'bob@example.test';

  await t.test('connects in the clear, by STARTTLS and by TLS', () => {
    for (const [connectionType, port] of [
      [ConnectionType.Clear, ports.imap], [ConnectionType.StartTLS, ports.imap], [ConnectionType.TLS, ports.imaps],
      [ConnectionType.Clear, ports.oldImap], [ConnectionType.StartTLS, ports.oldImap], [ConnectionType.TLS, ports.oldImaps],
    ]) {
      const session = sessionFor(servers, alice, { connectionType, port });
      assert.equal(session.isDisconnected(), true);
      assert.equal(session.connectIfNeeded(), 0);
      assert.equal(session.isDisconnected(), false);
      assert.equal(session.loginIfNeeded(), 0);
      assert.equal(session.loginIfNeeded(), 0);
      assert.ok(session.fetchAllFolders().some((folder) => folder.path === 'INBOX'));
      session.disconnect();
      assert.equal(session.isDisconnected(), true);
      assert.equal(session.connectIfNeeded(), 0, 'connects again');
      session.disconnect();
    }
  });

  await t.test('tells why it cannot connect', () => {
    for (const [settings, code] of [
      [{ port: ports.refused }, ErrorCode.Connection],
      [{ hostname: '' }, ErrorCode.Connection],
      [{ hostname: 'no.such.host.invalid' }, ErrorCode.Connection],
      [{ hostname: '127.0.0.1\r\nX' }, ErrorCode.InvalidArgument],
      [{ port: ports.imaps, connectionType: ConnectionType.TLS, checkCertificateEnabled: true }, ErrorCode.Certificate],
      [{ port: ports.wronghost_imaps, connectionType: ConnectionType.TLS, checkCertificateEnabled: true }, ErrorCode.Certificate],
      [{ port: ports.expired_imaps, connectionType: ConnectionType.TLS, checkCertificateEnabled: true }, ErrorCode.Certificate],
      [{ port: ports.imap, connectionType: ConnectionType.TLS }, ErrorCode.Connection],
      [{ connectionType: 3 }, ErrorCode.InvalidArgument],
    ]) {
      assert.equal(sessionFor(servers, alice, settings).connectIfNeeded(), code, JSON.stringify(settings));
    }
  });

  await t.test('accepts any certificate when it is told to', () => {
    const session = sessionFor(servers, alice, { port: ports.wronghost_imaps, connectionType: ConnectionType.TLS });
    assert.notEqual(session.connectIfNeeded(), ErrorCode.Certificate);
  });

  await t.test('logs in by every mechanism that the server offers', () => {
    for (const [authType, code] of [
      [AuthType.None ?? 0, 0], [AuthType.SASLCRAMMD5, 0], [AuthType.SASLPlain, 0], [AuthType.SASLDIGESTMD5, 0],
      [AuthType.SASLLogin, 0], [AuthType.SASLCRAMMD5 | AuthType.SASLPlain, 0], [AuthType.XOAuth2, 0],
      [AuthType.SASLGSSAPI, ErrorCode.AuthenticationMechanism], [AuthType.SASLSRP, ErrorCode.AuthenticationMechanism],
      [AuthType.SASLNTLM, ErrorCode.AuthenticationMechanism], [AuthType.SASLKerberosV4, ErrorCode.AuthenticationMechanism],
    ]) {
      const session = sessionFor(servers, alice, { authType, OAuth2Token: servers.tokens[alice] });
      assert.equal(session.loginIfNeeded(), code, `authType ${authType}`);
      session.disconnect();
    }
  });

  await t.test('a wrong password or token is 5, and the session stays usable', () => {
    for (const authType of [0, AuthType.SASLPlain, AuthType.SASLLogin, AuthType.SASLCRAMMD5, AuthType.SASLDIGESTMD5, AuthType.XOAuth2]) {
      const session = sessionFor(servers, alice, { authType, password: 'wrong', OAuth2Token: 'wrong' });
      assert.equal(session.loginIfNeeded(), ErrorCode.Authentication, `authType ${authType}`);
      session.password = servers.users[alice];
      session.OAuth2Token = servers.tokens[alice];
      assert.equal(session.loginIfNeeded(), 0);
      session.disconnect();
    }
  });

  await t.test('folders with names of all kinds', () => {
    const session = sessionFor(servers, alice);
    const names = ['Входящие', '日本語/台北', 'with "quotes"', 'back\\slash', '100% sure*', 'R&D', 'two  blanks', '(brackets) {3}',
      'tilde~', 'emoji 😀', 'NIL', "it's", 'a'.repeat(120)];
    for (const name of names) {
      const wire = encodeFolderPath(name);
      assert.equal(decodeFolderPath(wire), name);
      assert.equal(session.createFolder(wire), 0, name);
      assert.notEqual(session.createFolder(wire), 0, 'a second one is refused');
      assert.equal(session.subscribeFolder(wire), 0, name);
      assert.equal(session.folderStatus(wire).messageCount, 0, name);
    }
    const listed = session.fetchAllFolders();
    const wires = listed.map((folder) => folder.path);
    for (const name of names) {
      const folder = listed.find((item) => decodeFolderPath(item.path) === name);
      assert.ok(folder instanceof IMAPFolder, name);
      assert.equal(folder.delimiter, '/');
    }
    const other = python(servers, alice, ['result = [l.decode() for l in m.list()[1] if isinstance(l, bytes)]']);
    assert.ok(other.some((line) => line.includes('&BBIERQQ+BDQETwRJBDgENQ-')));
    assert.ok(wires.includes(encodeFolderPath('R&D')));
    const subscribed = session.fetchSubscribedFolders().map((folder) => decodeFolderPath(folder.path));
    for (const name of names) assert.ok(subscribed.includes(name), name);

    for (const name of names) {
      const wire = encodeFolderPath(name);
      const renamed = encodeFolderPath(`${name} новое`);
      const uid = append(session, wire, mail('in it'));
      assert.equal(uid, 1, name);
      assert.equal(session.fetchMessagesByUID(wire).length, 1, name);
      assert.equal(session.unsubscribeFolder(wire), 0);
      assert.equal(session.renameFolder(wire, renamed), 0, name);
      assert.equal(session.folderStatus(renamed).messageCount, 1);
      assert.equal(session.deleteFolder(renamed), 0);
      assert.match(message(() => session.folderStatus(renamed)), /^Error code: \d+$/);
    }
    assert.deepEqual(session.fetchSubscribedFolders().map((folder) => folder.path).filter((p) => wires.includes(p) && p !== 'Sent'), []);
    session.disconnect();
  });

  await t.test('special use is listed', () => {
    const session = sessionFor(servers, alice);
    const flags = Object.fromEntries(session.fetchAllFolders().map((folder) => [folder.path, folder.flags]));
    assert.equal(flags.INBOX & FolderFlag.Inbox, FolderFlag.Inbox);
    assert.equal(flags.Sent & 32, 32);
    assert.equal(flags.Trash & 256, 256);
    assert.equal(flags.Drafts & 512, 512);
    assert.equal(flags.Junk & 1024, 1024);
    assert.equal(session.capabilityMove(), true);
    assert.equal(session.capabilityCreateSpecialUse(), false);
    assert.notEqual(session.createSpecialFolder('Special', 64), 0, 'this server cannot');
    session.disconnect();
  });

  await t.test('names that would end the line are refused and nothing is sent', () => {
    const session = sessionFor(servers, alice);
    for (const name of ['a\r\nX DELETE Sent', 'a\nb', 'a\0b', '']) {
      assert.equal(session.createFolder(name) !== 0, true);
      assert.equal(session.renameFolder('Sent', name) !== 0, true);
      assert.equal(session.deleteFolder(name) !== 0, true);
    }
    assert.ok(session.fetchAllFolders().some((folder) => folder.path === 'Sent'));
    session.disconnect();
  });

  await t.test('appends report the UID that the message gets', () => {
    const session = sessionFor(servers, bob);
    const uids = [1, 2, 3, 4].map((i) => append(session, 'INBOX', mail(`message ${i}`)));
    assert.deepEqual(uids, [1, 2, 3, 4]);
    const subjects = python(servers, bob, ['m.select("INBOX", readonly=True)',
      'result = [m.uid("fetch", str(u), "(BODY.PEEK[HEADER.FIELDS (SUBJECT)])")[1][0][1].decode() for u in args[0]]'], uids);
    assert.deepEqual(subjects.map((text) => text.trim()), [1, 2, 3, 4].map((i) => `Subject: message ${i}`));
    session.disconnect();
  });

  await t.test('listing, single messages and ranges', () => {
    const session = sessionFor(servers, bob);
    const list = session.fetchMessagesByUID('INBOX');
    assert.deepEqual(list.map((m) => m.uid), [1, 2, 3, 4]);
    assert.deepEqual(list.map((m) => m.sequenceNumber), [1, 2, 3, 4]);
    assert.ok(list.every((m) => m instanceof IMAPMessage && m.flags === m.originalFlags));
    assert.equal(list[0].size, Buffer.byteLength(mail('message 1')));
    assert.deepEqual(session.fetchMessagesByUID('INBOX', 3).map((m) => m.uid), [3, 4]);
    assert.deepEqual(session.fetchMessagesByUID('INBOX', undefined, 2).map((m) => m.uid), [1, 2]);
    assert.deepEqual(session.fetchMessagesByUID('INBOX', 2, 3).map((m) => m.uid), [2, 3]);
    assert.deepEqual(session.fetchMessagesByUID('INBOX', 5).map((m) => m.uid), []);
    assert.equal(session.fetchMessageByUID('INBOX', 2).bytes().toString(), mail('message 2'));
    assert.equal(session.fetchMessageByNumber('INBOX', 3).bytes().toString(), mail('message 3'));
    assert.equal(session.fetchMessageByUID('INBOX', 77), undefined);
    assert.equal(session.fetchMessageByNumber('INBOX', 77), undefined);
    assert.match(message(() => session.fetchMessagesByUID('Nowhere')), /^Error code: 8$/);
    assert.deepEqual(session.fetchMessagesByUID('Trash'), []);
    session.disconnect();
  });

  for (const [kind, port] of [['modern', ports.imap], ['old', ports.oldImap]]) {
    await t.test(`the status of a folder that is selected is as it is now: a ${kind} server`, () => {
      const user = 'carol@example.test';
      const session = sessionFor(servers, user, { port });
      const other = sessionFor(servers, user, { port });
      const status = (which) => {
        const { messageCount, unseenCount, uidNext, highestModSeqValue } = which.folderStatus('INBOX');
        return { messageCount, unseenCount, uidNext, highestModSeqValue };
      };
      append(other, 'INBOX', mail('first'));
      session.fetchMessagesByUID('INBOX');
      assert.equal(status(session).messageCount, 1);
      append(other, 'INBOX', mail('second'));
      assert.deepEqual([status(session).messageCount, status(session).uidNext], [2, 3]);
      append(session, 'INBOX', mail('third'));
      assert.deepEqual([status(session).messageCount, status(session).uidNext], [3, 4], 'its own append');
      const { unseenCount } = status(session);
      assert.equal(other.storeFlagsByUID('INBOX', 2, kAdd, MessageFlag.Seen), 0);
      assert.equal(other.storeFlagsByUID('INBOX', 2, kRemove, MessageFlag.Seen), 0);
      assert.equal(status(session).unseenCount, unseenCount + 1);
      assert.equal(other.storeFlagsByUID('INBOX', 1, kAdd, MessageFlag.Deleted), 0);
      assert.equal(other.expunge('INBOX'), 0);
      other.disconnect();
      const fresh = sessionFor(servers, user, { port });
      assert.deepEqual(status(session), status(fresh));
      assert.equal(status(session).messageCount, 2);
      for (const uid of [2, 3]) fresh.storeFlagsByUID('INBOX', uid, kAdd, MessageFlag.Deleted);
      fresh.expunge('INBOX');
      fresh.disconnect();
      session.disconnect();
    });
  }

  await t.test('flags and keywords', () => {
    const session = sessionFor(servers, bob);
    const all = 511 & ~MessageFlag.Deleted;
    assert.equal(session.storeFlagsByUID('INBOX', 1, kSet, all), 0);
    assert.equal(session.storeFlagsByUID('INBOX', 2, kSet, MessageFlag.Seen | MessageFlag.Flagged), 0);
    assert.equal(session.storeFlagsByUID('INBOX', 2, kRemove, MessageFlag.Seen), 0);
    assert.equal(session.storeFlagsByNumber('INBOX', 2, kAdd, MessageFlag.Forwarded), 0);
    assert.equal(session.storeFlagsByUID('INBOX', 3, kSet, 0), 0);
    assert.equal(session.storeFlagsByUID('INBOX', 999, kAdd, 1), 0, 'no such message is no error');
    assert.notEqual(session.storeFlagsByUID('INBOX', 0, kAdd, 1), 0);
    assert.notEqual(session.storeFlagsByUID('INBOX', 1, 9, 1), 0);
    const flags = session.fetchMessagesByUID('INBOX').map((m) => m.flags);
    assert.deepEqual(flags.slice(0, 3), [all, MessageFlag.Flagged | MessageFlag.Forwarded, 0]);
    const other = python(servers, bob, ['m.select("INBOX", readonly=True)',
      'result = [m.uid("fetch", str(u), "(FLAGS)")[1][0].decode() for u in (1, 2, 3)]']);
    for (const name of ['\\Seen', '\\Answered', '\\Flagged', '\\Draft', '$MDNSent', '$Forwarded', '$SubmitPending', '$Submitted']) {
      assert.ok(other[0].includes(name), name);
    }
    assert.ok(!other[1].includes('\\Seen') && other[1].includes('\\Flagged') && other[1].includes('$Forwarded'));
    // Somebody else's change is seen at once.
    python(servers, bob, ['m.select("INBOX")', 'm.uid("store", "3", "+FLAGS", "(\\\\Answered)")']);
    assert.equal(session.fetchMessagesByUID('INBOX', 3, 3)[0].flags, MessageFlag.Answered);
    session.disconnect();
  });

  for (const [kind, port, delimiter] of [['a server with MOVE', ports.imap, '/'], ['a server without', ports.oldImap, '.']]) {
    await t.test(`copy and move on ${kind}`, () => {
      const user = 'carol@example.test';
      const old = port === ports.oldImap;
      const session = sessionFor(servers, user, { port });
      const prefix = old ? `INBOX${delimiter}` : '';
      const folder = `${prefix}work`;
      const target = `${prefix}target`;
      assert.equal(session.createFolder(folder), 0);
      assert.equal(session.createFolder(target), 0);
      for (let i = 1; i <= 5; ++i) assert.equal(append(session, folder, mail(`m${i}`)), i);
      // A message that somebody else has marked as deleted.
      assert.equal(session.storeFlagsByUID(folder, 5, kAdd, MessageFlag.Deleted), 0);
      const moved = session.moveMessages(folder, 2, target);
      // Without UIDPLUS nobody knows the new UID.
      assert.equal(moved, old ? undefined : 1);
      assert.equal(session.copyMessages(folder, target, 3, 0), 0);
      assert.equal(session.copyMessages(folder, target, 3), 0, 'two messages');
      const subjects = (name) => session.fetchMessagesByUID(name)
        .filter((m) => name !== folder || !old || !(m.flags & MessageFlag.Deleted) || m.uid === 5)
        .map((m) => /Subject: (.*)\r/.exec(session.fetchMessageByUID(name, m.uid).bytes().toString())[1]);
      assert.deepEqual(subjects(folder), ['m1', 'm3', 'm4', 'm5'], 'the deleted one is still there');
      assert.deepEqual(subjects(target), ['m2', 'm3', 'm3', 'm4']);
      // What is behind the last message is not the last message.
      assert.equal(session.copyMessages(folder, target, 100, 2 ** 40), 0);
      message(() => session.moveMessages(folder, -1, target));
      assert.equal(session.storeFlagsByUID(folder, -1, kAdd, MessageFlag.Flagged), 0);
      assert.notEqual(session.storeFlagsByNumber(folder, -1, kAdd, MessageFlag.Flagged), 0);
      assert.ok(session.fetchMessagesByUID(folder).every((m) => !(m.flags & MessageFlag.Flagged)));
      // The same, seen by somebody else: UID, subject and whether it is marked as deleted.
      const seen = (name) => pythonAt(port, servers, user, ['m.select(args[0], readonly=True)',
        'lines = m.uid("fetch", "1:*", "(FLAGS BODY.PEEK[HEADER.FIELDS (SUBJECT)])")[1]',
        'import re', 'result = [[int(re.search(rb"UID (\\d+)", l[0]).group(1)), l[1].decode().split()[1], b"Deleted" in l[0]] for l in lines if isinstance(l, tuple)]'], name);
      assert.deepEqual(seen(target), [[1, 'm2', false], [2, 'm3', false], [3, 'm3', false], [4, 'm4', false]]);
      assert.deepEqual(seen(folder), [[1, 'm1', false], ...(old ? [[2, 'm2', true]] : []), [3, 'm3', false], [4, 'm4', false], [5, 'm5', true]]);
      assert.match(message(() => session.moveMessages(folder, 1, `${prefix}none`)), /^Unable to move messages. Error code: \d+$/);
      assert.notEqual(session.copyMessages(folder, `${prefix}none`, 1, 0), 0);
      assert.equal(session.expunge(folder), 0);
      assert.deepEqual(session.fetchMessagesByUID(folder).map((m) => m.uid), [1, 3, 4]);
      session.disconnect();
    });
  }

  await t.test('synchronising tells what changed and what vanished', () => {
    const user = 'dave@example.test';
    const session = sessionFor(servers, user);
    for (let i = 1; i <= 6; ++i) append(session, 'INBOX', mail(`s${i}`));
    const first = session.syncMessagesByUID('INBOX', 0);
    assert.ok(first instanceof IMAPSyncResult);
    assert.equal(first.modifiedOrAddedMessages.length, 6);
    assert.equal(session.isQResyncEnabled(), true);
    const { highestModSeqValue } = session.folderStatus('INBOX');
    python(servers, user, ['m.select("INBOX")', 'm.uid("store", "2", "+FLAGS", "(\\\\Flagged)")',
      'm.uid("store", "3,5", "+FLAGS", "(\\\\Deleted)")', 'm.expunge()']);
    append(session, 'INBOX', mail('s7'));
    const second = session.syncMessagesByUID('INBOX', highestModSeqValue);
    assert.deepEqual(second.modifiedOrAddedMessages.map((m) => [m.uid, m.flags & MessageFlag.Flagged]), [[2, 4], [7, 0]]);
    assert.deepEqual(second.vanishedMessages, [3, 5]);
    // Messages that came and went between two looks are among the vanished, the last one included.
    const again = session.folderStatus('INBOX').highestModSeqValue;
    const visitor = sessionFor(servers, user);
    const gone = [append(visitor, 'INBOX', mail('s8')), append(visitor, 'INBOX', mail('s9'))];
    for (const uid of gone) assert.equal(visitor.storeFlagsByUID('INBOX', uid, kAdd, MessageFlag.Deleted), 0);
    assert.equal(visitor.expunge('INBOX'), 0);
    visitor.disconnect();
    assert.deepEqual(session.syncMessagesByUID('INBOX', again).vanishedMessages, gone);
    const other = python(servers, user, ['m.select("INBOX", readonly=True)',
      'numbers = lambda *what: [int(n) for n in m.uid("search", None, *what)[1][0].split(b"(")[0].split()]',
      'result = [numbers("MODSEQ", str(args[0] + 1)), numbers("ALL")]'], highestModSeqValue);
    assert.deepEqual(second.modifiedOrAddedMessages.map((m) => m.uid), other[0]);
    const left = first.modifiedOrAddedMessages.map((m) => m.uid).filter((uid) => !second.vanishedMessages.includes(uid));
    assert.deepEqual([...new Set([...left, ...second.modifiedOrAddedMessages.map((m) => m.uid)])], other[1], 'what is kept in step is what is there');
    assert.deepEqual(session.syncMessagesByUID('INBOX', session.folderStatus('INBOX').highestModSeqValue).modifiedOrAddedMessages, []);
    assert.deepEqual(session.syncMessagesByUID('INBOX', highestModSeqValue, 7).modifiedOrAddedMessages.map((m) => m.uid), [7]);
    session.disconnect();
  });

  await t.test('a message shows as HTML and fetches what that needs', () => {
    const session = sessionFor(servers, bob);
    const png = Buffer.from('iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==', 'base64');
    const uid = append(session, 'INBOX',
        'From: =?utf-8?B?0JjQstCw0L0=?= <ivan@example.test>\r\nSubject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\nMIME-Version: 1.0\r\n' +
        'Content-Type: multipart/related; boundary=r\r\n\r\n--r\r\nContent-Type: multipart/alternative; boundary=a\r\n\r\n' +
        '--a\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\nplain\r\n--a\r\nContent-Type: text/html; charset=windows-1251\r\n' +
        'Content-Transfer-Encoding: quoted-printable\r\n\r\n<p>=CF=F0=E8=E2=E5=F2 <script>alert(1)</script><img src=3D"cid:pic"></p>\r\n--a--\r\n' +
        `--r\r\nContent-Type: image/png\r\nContent-ID: <pic>\r\nContent-Transfer-Encoding: base64\r\n\r\n${png.toString('base64')}\r\n--r--\r\n`);
    const [shown] = session.fetchMessagesByUID('INBOX', uid, uid);
    const html = shown.htmlRendering('INBOX');
    assert.match(html, /Привет/);
    assert.doesNotMatch(html, /<script/);
    assert.ok(html.includes(png.toString('base64').slice(0, 40)), 'the picture is there');
    assert.equal(shown.flags & MessageFlag.Seen, shown.originalFlags & MessageFlag.Seen, 'reading does not mark');
    session.disconnect();
    assert.match(shown.htmlRendering('INBOX'), /Привет/, 'a closed session opens again for it');
    session.disconnect();
  });

  await t.test('a message of 10 MiB', async () => {
    const session = sessionFor(servers, bob);
    const line = 'x'.repeat(76);
    const text = mail('large', `${line}\r\n`.repeat(Math.ceil(10 * 1024 * 1024 / 78)));
    const uid = append(session, 'INBOX', text);
    for (const settings of [{}, { connectionType: ConnectionType.TLS, port: ports.imaps }]) {
      const reader = sessionFor(servers, bob, settings);
      const data = await called((callback) => reader.fetchMessageByUIDAsync('INBOX', uid, callback));
      assert.equal(data.length(), text.length);
      assert.equal(crypto.createHash('sha1').update(data.bytes()).digest('hex'), crypto.createHash('sha1').update(text).digest('hex'));
      reader.disconnect();
    }
    session.disconnect();
  });

  await t.test('several async twins of one session queue', async () => {
    const session = sessionFor(servers, bob);
    const results = await Promise.all([
      called((callback) => session.fetchAllFoldersAsync(callback)),
      called((callback) => session.fetchMessagesByUIDAsync('INBOX', callback)),
      called((callback) => session.folderStatusAsync('INBOX', callback)),
      called((callback) => session.fetchMessageByUIDAsync('INBOX', 1, callback)),
      called((callback) => session.loginIfNeededAsync(callback)),
      called((callback) => session.syncMessagesByUIDAsync('INBOX', 1, callback)),
      called((callback) => session.appendMessageAsync('INBOX', new Data(Buffer.from(mail('async'))), 0, callback)),
    ]);
    assert.equal(results[3].bytes().toString(), mail('message 1'));
    assert.equal(results[4], 0);
    await assert.rejects(called((callback) => session.fetchMessagesByUIDAsync('Nowhere', callback)), /Error code: 8/);
    await called((callback) => session.disconnectAsync(callback));
    assert.equal(session.isDisconnected(), true);
  });

  await t.test('10,000 messages, and the event loop stays free', async () => {
    const user = 'erin@example.test';
    deliver(servers, user, 10000, (i) => mail(`Nachricht Nr. ${i} mit etwas längerem Betreff`, `Body ${i}\r\n`));
    const session = sessionFor(servers, user);
    // The first look makes the server index them.
    assert.equal(session.folderStatus('INBOX').messageCount, 10000);
    // What this thread waited for a processor is the machine's doing, not ours; and what is ours happens
    // every time.
    const now = () => performance.now() - Number(fs.readFileSync(`/proc/self/task/${process.pid}/schedstat`, 'latin1').split(' ')[1]) / 1e6;
    let list;
    let longest = Infinity;
    let conversion = Infinity;
    for (let attempt = 0; attempt < 5 && longest >= 20; ++attempt) {
      let last = now();
      let block = 0;
      const timer = setInterval(() => {
        const tick = now();
        block = Math.max(block, tick - last);
        last = tick;
      }, 1);
      // The conversion of the result blocks for its own length, right before the callback.
      list = await called((callback) => session.fetchMessagesByUIDAsync('INBOX', (error, value) => {
        conversion = Math.min(conversion, now() - last);
        clearInterval(timer);
        callback(error, value);
      }));
      longest = Math.min(longest, block);
    }
    console.log(`longest block while 10,000 messages were fetched: ${longest.toFixed(1)} ms; conversion: ${conversion.toFixed(1)} ms`);
    assert.ok(longest < 20, `a block of ${longest} ms`);
    assert.equal(list.length, 10000);
    assert.deepEqual(list.map((m) => m.uid), Array.from({ length: 10000 }, (_, i) => i + 1));
    assert.equal(session.storeFlagsByUID('INBOX', 10000, kAdd, 1), 0);
    const result = session.syncMessagesByUID('INBOX', session.folderStatus('INBOX').highestModSeqValue - 1);
    assert.deepEqual(result.modifiedOrAddedMessages.map((m) => m.uid), [10000]);
    session.disconnect();
  });
});
