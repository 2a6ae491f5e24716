// Sending through a real Postfix, and finding the mail in the mailbox as it was sent.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');

const { messagesInInbox, reasonToSkip, startServers, waitForMessage } = require('./harness.js');
const { kFrom, kTo, mail, sendApart, sendAsync, sessionTo, trusting } = require('./smtp.helpers.js');

const kLogin = { username: kFrom, password: 'pw-bob' };

// The message must be what lies behind the trace fields, byte for byte.
function assertDelivered(delivered, sent) {
  const bytes = Buffer.from(sent);
  assert.ok(delivered.length >= bytes.length);
  assert.ok(delivered.subarray(delivered.length - bytes.length).equals(bytes), 'the delivered bytes differ');
}

test('SMTP with Postfix', { skip: reasonToSkip({ postfix: true, badtls: true }) }, async (t) => {
  const servers = await startServers({ postfix: true, badtls: true });
  t.after(() => servers.stop());
  const { ports } = servers;

  await t.test('a string and a Buffer arrive byte for byte, sent either way', async () => {
    const body = 'first line\r\nпривет\r\n\r\nlast line\r\n';
    for (const [i, message] of [mail('plain 1', body), Buffer.from(mail('plain 2', body))].entries()) {
      assert.equal(sessionTo(ports.smtp).sendMessage(message, kFrom, [kTo]), 0);
      assertDelivered(await waitForMessage(servers, kTo, `Subject: plain ${i + 1}`), message);
    }
    const message = mail('plain 3', body);
    assert.equal(await sendAsync(sessionTo(ports.smtp), message), 0);
    assertDelivered(await waitForMessage(servers, kTo, 'Subject: plain 3'), message);
  });

  await t.test('dots at line starts survive', async () => {
    const message = mail('dots', '.\r\n..\r\n.dot\r\n...\r\n\r\n.\r\nend.\r\n.\r\n');
    assert.equal(await sendAsync(sessionTo(ports.smtp), message), 0);
    assertDelivered(await waitForMessage(servers, kTo, 'Subject: dots'), message);
  });

  await t.test('a message of 20 MiB', async () => {
    const line = `${'0123456789abcdef'.repeat(4)}\r\n`;
    const message = mail('large', line.repeat(Math.ceil((20 << 20) / line.length)));
    assert.equal(await sendAsync(sessionTo(ports.smtp), message), 0);
    assertDelivered(await waitForMessage(servers, kTo, 'Subject: large', 30000), message);
  });

  await t.test('addresses in UTF-8', async () => {
    const message = mail('international');
    assert.equal(await sendAsync(sessionTo(ports.smtp), message, kFrom, [servers.international]), 0);
    assertDelivered(await waitForMessage(servers, servers.international, 'Subject: international'), message);
    const second = mail('from abroad');
    assert.equal(await sendAsync(sessionTo(ports.smtp), second, servers.international, [servers.international]), 0);
    const delivered = await waitForMessage(servers, servers.international, 'Subject: from abroad');
    assert.match(delivered.toString(), /^Return-Path: <юзер@example.test>/);
  });

  await t.test('sender and recipients come from the message when none are given', async () => {
    const message = 'From: Bob <bob@example.test>\r\nTo: Alice <alice@example.test>\r\nCc: carol@example.test\r\n' +
        'Bcc: "D" <dave@example.test>\r\nSubject: from header\r\nDate: Sat, 21 Nov 2026 12:00:00 +0000\r\n' +
        'Message-ID: <h@example.test>\r\n\r\nbody\r\n';
    assert.equal(sessionTo(ports.smtp).sendMessage(message), 0);
    for (const user of ['alice', 'carol', 'dave']) {
      const delivered = await waitForMessage(servers, `${user}@example.test`, 'Subject: from header');
      assert.match(delivered.toString(), /^Return-Path: <bob@example.test>/);
    }
  });

  await t.test('a second send on the same session also goes to the first recipients', async () => {
    const session = sessionTo(ports.smtp);
    assert.equal(session.sendMessage(mail('first'), kFrom, ['erin@example.test']), 0);
    assert.equal(session.sendMessage(mail('second'), kFrom, ['dave@example.test']), 0);
    await waitForMessage(servers, 'dave@example.test', 'Subject: second');
    await waitForMessage(servers, 'erin@example.test', 'Subject: first');
    await waitForMessage(servers, 'erin@example.test', 'Subject: second');
    assert.equal(messagesInInbox(servers, 'dave@example.test').some((m) => m.includes('Subject: first')), false);
  });

  await t.test('every authType logs in', async () => {
    // Only a login may send to other domains.
    for (const authType of [0, 4, 8, 16, 64, 128, 256]) {
      const session = sessionTo(ports.smtp, { ...kLogin, authType });
      assert.equal(await sendAsync(session, mail(`auth ${authType}`), kFrom, ['x@elsewhere.test']), 0, `authType ${authType}`);
    }
  });

  await t.test('a token logs in with authType 256', async () => {
    const token = { username: kFrom, password: 'not this', authType: 256, OAuth2Token: 'token-bob' };
    assert.equal(await sendAsync(sessionTo(ports.smtp, token), mail('token'), kFrom, ['x@elsewhere.test']), 0);
    assert.equal(await sendAsync(sessionTo(ports.smtp, { ...token, OAuth2Token: 'token-eve' }), mail('token'), kFrom, ['x@elsewhere.test']), 5);
  });

  await t.test('with authType 256 and no token, name and password log in', async () => {
    const session = sessionTo(ports.smtp, { ...kLogin, authType: 256, OAuth2Token: '' });
    assert.equal(await sendAsync(session, mail('no token'), kFrom, ['x@elsewhere.test']), 0);
  });

  await t.test('names and passwords with quotes, backslashes and non-ASCII characters', async () => {
    for (const username of [servers.quoted, servers.international]) {
      const session = sessionTo(ports.smtp, { username, password: servers.users[username] });
      assert.equal(await sendAsync(session, mail('odd password'), kFrom, ['x@elsewhere.test']), 0, username);
    }
  });

  await t.test('a wrong password gives 5 and sends nothing', async () => {
    const session = sessionTo(ports.smtp, { ...kLogin, password: 'wrong' });
    assert.equal(await sendAsync(session, mail('wrong password')), 5);
    assert.equal(session.sendMessage(mail('wrong password'), kFrom, [kTo]), 5);
  });

  await t.test('where no login is offered the mail goes without one', async () => {
    assert.equal(await sendAsync(sessionTo(ports.smtpNoAuth, kLogin), mail('no auth offered')), 0);
  });

  await t.test('a refused recipient gives 1', async () => {
    assert.equal(await sendAsync(sessionTo(ports.smtp), mail('refused'), kFrom, ['nobody@example.test']), 1);
    assert.equal(await sendAsync(sessionTo(ports.smtp), mail('refused'), kFrom, ['Alice <alice@example.test>']), 1);
  });

  await t.test('nobody listens: 1', async () => {
    assert.equal(await sendAsync(sessionTo(ports.refused), mail('refused')), 1);
  });

  await t.test('STARTTLS where it is not offered gives 25, and nothing was sent', async () => {
    assert.equal(await sendAsync(sessionTo(ports.smtpNoTls, { connectionType: 2 }), mail('no starttls')), 25);
  });

  await t.test('an unknown authority gives 4, whether host names are checked or not', async () => {
    for (const checkCertificateEnabled of [true, false]) {
      for (const [port, connectionType] of [[ports.smtps, 4], [ports.submission, 2], [ports.smtp, 2]]) {
        const session = sessionTo(port, { ...kLogin, connectionType, checkCertificateEnabled });
        assert.equal(await sendAsync(session, mail('untrusted')), 4);
      }
    }
  });

  await t.test('with the authority trusted: TLS and STARTTLS, wrong hosts, expired and self-signed ones', async () => {
    const bad = (port, checkCertificateEnabled) => ({ settings: { hostname: '127.0.0.1', port, connectionType: 4, checkCertificateEnabled }, message: mail('bad certificate') });
    const good = (port, connectionType, subject, more = {}) => ({ settings: { hostname: 'localhost', port, connectionType, checkCertificateEnabled: true, ...kLogin, ...more }, message: mail(subject) });
    const codes = await sendApart(trusting(servers.bundle), [
      good(ports.smtps, 4, 'tls 1'),
      good(ports.submission, 2, 'tls 2'),
      { ...good(ports.smtps, 4, 'tls 3'), sync: true },
      good(ports.smtps, 4, 'tls 4', { hostname: '127.0.0.1' }),
      good(ports.smtps, 4, 'tls 5', { authType: 256, OAuth2Token: 'token-bob' }),
      good(ports.smtps, 1, 'a scheme given is dropped', { hostname: 'smtps://localhost', connectionType: 4 }),
      bad(ports.wronghost_smtps, true),
      bad(ports.expired_smtps, false),
      bad(ports.selfsigned_smtps, false),
      // The name does not matter here; the server then refuses everything.
      bad(ports.wronghost_smtps, false),
      // What was not checked for one connection is not taken as checked for the next.
      bad(ports.wronghost_smtps, true),
      // A clear-text server is no TLS server.
      good(ports.smtp, 4, 'not tls'),
    ]);
    assert.deepEqual(codes, [0, 0, 0, 0, 0, 0, 4, 4, 4, 1, 4, 1]);
    for (let i = 1; i <= 5; i++) {
      assertDelivered(await waitForMessage(servers, kTo, `Subject: tls ${i}`), mail(`tls ${i}`));
    }
  });

  await t.test('the bundle is read again when it changes', async () => {
    // The same process sends before and after the authority is put into the bundle.
    const { spawn } = require('node:child_process');
    const fs = require('node:fs');
    const path = require('node:path');
    const bundle = path.join(servers.folder, 'changing.pem');
    fs.writeFileSync(bundle, fs.readFileSync(path.join(servers.tls, 'selfsigned.pem')));
    const child = spawn(trusting(bundle)[0], [bundle, process.execPath, '-e', `
      const { sendAsync, sessionTo, mail } = require(${JSON.stringify(path.join(__dirname, 'smtp.helpers.js'))});
      const session = () => sessionTo(${ports.smtps}, { connectionType: 4, username: 'bob@example.test', password: 'pw-bob' });
      process.stdin.on('data', async () => console.log(await sendAsync(session(), mail('changing'))));
      process.stdin.on('end', () => process.exit(0));
    `], { stdio: ['pipe', 'pipe', 'inherit'] });
    const next = () => new Promise((resolve) => {
      child.stdout.once('data', (bytes) => resolve(Number(bytes)));
      child.stdin.write('send\n');
    });
    assert.equal(await next(), 4);
    fs.writeFileSync(bundle, fs.readFileSync(servers.bundle));
    assert.equal(await next(), 0);
    assert.equal(await next(), 0);
    // An authority that was taken out is not trusted for the sake of an earlier connection.
    fs.writeFileSync(bundle, fs.readFileSync(path.join(servers.tls, 'selfsigned.pem')));
    assert.equal(await next(), 4);
    child.stdin.end();
    await new Promise((resolve) => child.once('exit', resolve));
  });

  await t.test('proxies named in the environment are not used', async () => {
    const proxy = `socks5://127.0.0.1:${ports.refused}`;
    const jobs = [{ settings: { hostname: '127.0.0.1', port: ports.smtp, connectionType: 1 }, message: mail('no proxy') }];
    assert.deepEqual(await sendApart([], jobs, { ALL_PROXY: proxy, all_proxy: proxy, smtp_proxy: proxy }), [0]);
  });
});
