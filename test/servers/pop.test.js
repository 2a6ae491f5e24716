// POP3 against a real server. What the session did is looked up in the mailbox's files.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const { ConnectionType, AuthType, ErrorCode } = require('../../constants.js');
const { POPSession, POPMessageInfo, Data, MessageHeader } = require('../module/load.js');
const { kMailOwner } = require('./dovecot.js');
const { messagesInInbox, reasonToSkip, startServers } = require('./harness.js');

const kUser = 'alice@example.test';

// Puts messages into a user's INBOX as a delivery agent would.
function deliver(servers, user, messages) {
  const inbox = path.join(servers.mail, user, 'inbox');
  for (const folder of [path.dirname(inbox), inbox, ...['cur', 'new', 'tmp'].map((name) => path.join(inbox, name))]) {
    if (!fs.existsSync(folder)) {
      fs.mkdirSync(folder);
      fs.chownSync(folder, kMailOwner, kMailOwner);
    }
  }
  messages.forEach((message, i) => {
    const file = path.join(inbox, 'new', `${1600000000 + i}.M${i}P1.test`);
    fs.writeFileSync(file, message.replace(/\r\n/g, '\n'));
    fs.chownSync(file, kMailOwner, kMailOwner);
  });
}

function mail(i, body = `Body ${i}\r\n`) {
  return `From: =?UTF-8?B?${Buffer.from('Отправитель').toString('base64')}?= <from@example.test>\r\n` +
    `To: ${kUser}\r\nSubject: Message ${i}\r\nMessage-ID: <${i}@example.test>\r\n\r\n${body}`;
}

function sessionFor(servers, user, settings = {}) {
  return Object.assign(new POPSession(), {
    hostname: '127.0.0.1',
    port: servers.ports.pop3,
    username: user,
    password: servers.users[user],
    connectionType: ConnectionType.Clear,
    checkCertificateEnabled: false,
    timeout: 20,
  }, settings);
}

test('POP3 on a real server', { skip: reasonToSkip({ dovecot: true, old: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true, old: true });
  t.after(() => servers.stop());

  await t.test('an empty mailbox lists as an empty array', () => {
    const session = sessionFor(servers, 'erin@example.test');
    assert.deepEqual(session.fetchMessages(), []);
    assert.equal(session.noop(), 0);
    session.disconnect();
  });

  await t.test('listing, headers, messages: by number and by entry', () => {
    const dots = '.\r\n..\r\n.leading\r\nmiddle . dot\r\n...\r\n';
    deliver(servers, kUser, [mail(1), mail(2, dots), mail(3, 'привет\r\n')]);
    const session = sessionFor(servers, kUser);
    const infos = session.fetchMessages();
    assert.deepEqual(infos.map((info) => info.index), [1, 2, 3]);
    assert.equal(new Set(infos.map((info) => info.uid)).size, 3);
    assert.ok(infos.every((info) => info instanceof POPMessageInfo && info.uid !== '' && info.uid === info.UID));

    const raw = session.fetchMessage(2);
    assert.ok(raw instanceof Data);
    assert.equal(raw.bytes().toString(), mail(2, dots));
    assert.equal(raw.length(), infos[1].size);
    assert.deepEqual(session.fetchMessage(infos[1]).bytes(), raw.bytes());
    assert.equal(session.fetchMessage(3).bytes().toString(), mail(3, 'привет\r\n'));

    const header = session.fetchHeader(infos[0]);
    assert.ok(header instanceof MessageHeader);
    assert.equal(header.subject, 'Message 1');
    assert.equal(header.from, 'Отправитель <from@example.test>');
    assert.equal(session.fetchHeader(1).messageID, '1@example.test');

    infos[0].uid = 'changed';
    assert.notEqual(session.fetchMessages()[0].uid, 'changed');
    assert.equal(session.fetchMessage(99), undefined);
    assert.equal(session.fetchHeader(99), undefined);
    assert.notEqual(session.deleteMessage(99), 0);
    session.disconnect();
  });

  await t.test('a deletion takes effect with disconnect alone', () => {
    const dropped = sessionFor(servers, kUser);
    assert.equal(dropped.deleteMessage(1), 0);
    // A second session sees the mailbox as it was until the first one has quit.
    assert.equal(sessionFor(servers, kUser).fetchMessages().length, 3);
    dropped.disconnect();
    assert.equal(sessionFor(servers, kUser).fetchMessages().length, 2);
    assert.ok(!messagesInInbox(servers, kUser).some((bytes) => bytes.includes('Subject: Message 1\r\n')));
  });

  await t.test('a script that ends without disconnect has deleted nothing', () => {
    const count = () => {
      const session = sessionFor(servers, kUser);
      const { length } = session.fetchMessages();
      session.disconnect();
      return length;
    };
    const before = count();
    for (const end of ['', 'process.exit(0);', 'process.kill(process.pid, "SIGKILL");']) {
      const script = `
        const { POPSession } = require(${JSON.stringify(require.resolve('../module/load.js'))});
        const session = Object.assign(new POPSession(), ${JSON.stringify({
          hostname: '127.0.0.1', port: servers.ports.pop3, username: kUser, password: servers.users[kUser], connectionType: ConnectionType.Clear,
        })});
        process.stdout.write(String(session.deleteMessage(1)));
        ${end}`;
      assert.equal(spawnSync(process.execPath, ['-e', script], { encoding: 'utf8' }).stdout, '0');
      assert.equal(count(), before, end);
    }
  });

  await t.test('an entry of an old listing never touches another message', () => {
    const session = sessionFor(servers, kUser);
    const [first] = session.fetchMessages();
    assert.equal(session.deleteMessage(first), 0);
    session.disconnect();
    // The numbers have moved: 1 is now another message.
    assert.notEqual(session.deleteMessage(first), 0);
    assert.equal(session.fetchMessage(first), undefined);
    session.disconnect();
    assert.equal(sessionFor(servers, kUser).fetchMessages().length, 1);
  });

  await t.test('every connection type and mechanism logs in, a wrong password does not', () => {
    const types = [
      [ConnectionType.Clear, servers.ports.pop3],
      [ConnectionType.StartTLS, servers.ports.pop3],
      [ConnectionType.TLS, servers.ports.pop3s],
    ];
    for (const [connectionType, port] of types) {
      const session = sessionFor(servers, kUser, { connectionType, port });
      assert.equal(session.checkAccount(), 0, `connection type ${connectionType}`);
      session.password = 'wrong';
      assert.equal(session.checkAccount(), ErrorCode.Authentication);
    }
    for (const name of ['SASLNone', 'SASLCRAMMD5', 'SASLPlain', 'SASLDIGESTMD5', 'SASLLogin']) {
      const session = sessionFor(servers, kUser, { authType: AuthType[name] });
      assert.equal(session.login(), 0, name);
      assert.equal(session.noop(), 0);
      session.disconnect();
      session.password = 'wrong';
      assert.equal(session.login(), ErrorCode.Authentication, name);
      assert.equal(session.login(), ErrorCode.Authentication, `${name}, again`);
      session.password = servers.users[kUser];
      assert.equal(session.login(), 0, `${name}, after a refusal`);
      session.disconnect();
    }
    assert.equal(sessionFor(servers, kUser, { authType: AuthType.SASLSRP }).login(), ErrorCode.AuthenticationMechanism);
  });

  await t.test('a mailbox that another session holds is in use until that one has quit', () => {
    const settings = { port: servers.ports.oldPop3 };
    const holder = sessionFor(servers, kUser, settings);
    assert.equal(holder.login(), 0);
    const other = sessionFor(servers, kUser, settings);
    assert.equal(other.checkAccount(), ErrorCode.MailboxInUse);
    assert.throws(() => other.fetchMessages(), { name: 'Error', message: `Error code: ${ErrorCode.MailboxInUse}` });
    assert.equal(holder.checkAccount(), 0, 'the holder does not lock itself out');
    holder.disconnect();
    assert.equal(other.login(), 0);
    assert.deepEqual(other.fetchMessages(), []);
    other.disconnect();
  });

  await t.test('an untrusted certificate is refused unless checking is off', () => {
    const session = sessionFor(servers, kUser, {
      connectionType: ConnectionType.TLS, port: servers.ports.pop3s, checkCertificateEnabled: true,
    });
    assert.equal(session.connect(), ErrorCode.Certificate);
    session.checkCertificateEnabled = false;
    assert.equal(session.connect(), 0);
    session.disconnect();
  });

  await t.test('nobody listens, a silent port, a port of garbage', () => {
    assert.equal(sessionFor(servers, kUser, { port: servers.ports.refused }).connect(), ErrorCode.Connection);
    assert.equal(sessionFor(servers, kUser, { hostname: '' }).connect(), ErrorCode.Connection);
    assert.throws(() => sessionFor(servers, kUser, { port: servers.ports.refused }).fetchMessages(),
      { name: 'Error', message: 'Error code: 1' });
    assert.equal(sessionFor(servers, kUser, { port: servers.ports.refused }).fetchMessage(1), undefined);
  });

  await t.test('a thousand messages, and one of 30 MiB with memory near its size', () => {
    const user = 'bob@example.test';
    const line = `${'x'.repeat(70)}\r\n`;
    const big = mail('big', line.repeat(Math.ceil((30 << 20) / line.length)));
    deliver(servers, user, [...Array(999).keys()].map((i) => mail(i)).concat(big));
    const session = sessionFor(servers, user);
    const infos = session.fetchMessages();
    assert.equal(infos.length, 1000);
    for (const info of infos.slice(0, 999)) {
      assert.match(session.fetchMessage(info).bytes().toString(), /Body \d+\r\n$/);
    }
    const before = process.memoryUsage().rss;
    const data = session.fetchMessage(infos[999]);
    const used = process.memoryUsage().rss - before;
    assert.equal(data.length(), big.length);
    assert.equal(crypto.createHash('sha256').update(data.bytes()).digest('hex'),
      crypto.createHash('sha256').update(big).digest('hex'));
    assert.ok(used < 1.5 * big.length + (8 << 20), `${used} bytes for a message of ${big.length}`);
    session.disconnect();
  });
});
