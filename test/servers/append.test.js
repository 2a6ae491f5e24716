// appendMessage and its asynchronous twin: the upload over curl, against a real Dovecot and scripted servers.
'use strict';

const assert = require('node:assert/strict');
const { execFile, execFileSync } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { Data, IMAPSession } = require('../module/load.js');
const { makeCertificates } = require('./certificates.js');
const { reasonToSkip, startServers } = require('./harness.js');
const { startScripted } = require('./scripted.js');
const { mail, trusting } = require('./smtp.helpers.js');

const kUser = 'alice@example.test';

function sessionTo(port, settings = {}) {
  return Object.assign(new IMAPSession(), { hostname: '127.0.0.1', port, connectionType: 1, username: kUser, password: 'pw-alice' }, settings);
}

const append = (session, folder, message) => new Promise((resolve, reject) => {
  session.appendMessageAsync(folder, new Data(Buffer.from(message)), 0, (error, uid) => (error ? reject(error) : resolve(uid)));
});

// The newest message of a folder as the server stores it, with the wire's line ends.
function stored(servers, ...place) {
  const files = ['new', 'cur'].map((name) => path.join(servers.mail, kUser, ...place, name)).filter(fs.existsSync)
    .flatMap((folder) => fs.readdirSync(folder).map((name) => path.join(folder, name)));
  files.sort((a, b) => fs.statSync(b).mtimeMs - fs.statSync(a).mtimeMs);
  return Buffer.from(fs.readFileSync(files[0], 'latin1').replace(/\r?\n/g, '\r\n'), 'latin1');
}

test('append to Dovecot', { skip: reasonToSkip({ dovecot: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true });
  t.after(() => servers.stop());
  const { ports } = servers;

  await t.test('the message arrives byte for byte, under the UID that is reported, one after another', async () => {
    const session = sessionTo(ports.imap);
    const first = mail('append 1', 'привет\r\n.\r\nend\r\n');
    const uid = session.appendMessage('INBOX', new Data(Buffer.from(first)), 0);
    assert.ok(stored(servers, 'inbox').equals(Buffer.from(first)));
    const second = await append(session, 'INBOX', mail('append 2'));
    assert.deepEqual([uid, second], [1, 2]);
    for (const number of [uid, second]) {
      const data = session.fetchMessageByUID('INBOX', number);
      assert.match(Buffer.from(data.bytes()).toString(), new RegExp(`Subject: append ${number}`));
    }
    session.disconnect();
  });

  await t.test('twins of one session that are queued together, to two folders, each report their own UID', async () => {
    const session = sessionTo(ports.imap);
    assert.equal(session.createFolder('both'), 0);
    const before = session.folderStatus('INBOX').uidNext;
    const work = Array.from({ length: 12 }, (_, i) => (i % 3 === 0 ? 'both' : 'INBOX'));
    const uids = await Promise.all(work.map((folder, i) => append(session, folder, mail(`together ${i}`))));
    work.forEach((folder, i) => {
      assert.match(Buffer.from(session.fetchMessageByUID(folder, uids[i]).bytes()).toString(), new RegExp(`Subject: together ${i}\r`), `${folder} ${uids[i]}`);
    });
    assert.deepEqual(uids.filter((_, i) => work[i] === 'both').sort((a, b) => a - b), [1, 2, 3, 4]);
    assert.deepEqual(uids.filter((_, i) => work[i] === 'INBOX').sort((a, b) => a - b), Array.from({ length: 8 }, (_, i) => before + i));
    assert.equal(session.deleteFolder('both'), 0);
    session.disconnect();
  });

  await t.test('every message is reported under its own UID, whoever else appends and removes meanwhile', async () => {
    const sessions = [sessionTo(ports.imap), sessionTo(ports.imap)];
    assert.equal(sessions[0].createFolder('busy'), 0);
    const uids = await Promise.all(Array.from({ length: 24 }, (_, i) => append(sessions[i % 2], 'busy', mail(`busy ${i}`))));
    assert.equal(new Set(uids).size, 24);
    const last = Math.max(...uids);
    assert.equal(sessions[1].storeFlagsByUID('busy', last, 0, 8), 0);
    assert.equal(sessions[1].expunge('busy'), 0);
    uids[uids.indexOf(last)] = await append(sessions[0], 'busy', mail(`busy ${uids.indexOf(last)}`));
    assert.equal(Math.max(...uids), last + 1);
    uids.forEach((uid, i) => {
      assert.match(Buffer.from(sessions[i % 2].fetchMessageByUID('busy', uid).bytes()).toString(), new RegExp(`Subject: busy ${i}\r`), `${uid}`);
    });
    assert.equal(sessions[0].deleteFolder('busy'), 0);
    sessions.forEach((session) => session.disconnect());
  });

  await t.test('a message of 20 MiB', async () => {
    const session = sessionTo(ports.imap);
    const message = mail('large', `${'x'.repeat(70)}\r\n`.repeat(291272));
    const { uidNext } = session.folderStatus('INBOX');
    assert.equal(await append(session, 'INBOX', message), uidNext);
    assert.ok(stored(servers, 'inbox').equals(Buffer.from(message)));
    session.disconnect();
  });

  await t.test('folders with blanks and in modified UTF-7', async () => {
    const session = sessionTo(ports.imap);
    for (const folder of ['Sent Items', '&BB4EQgQ,BEAEMAQyBDsENQQ9BD0ESwQ1-', 'a/b-c']) {
      session.createFolder(folder);
      assert.equal(await append(session, folder, mail(`to ${folder.length}`)), 1, folder);
    }
    session.disconnect();
  });

  await t.test('a missing folder throws its number and uploads nothing', async () => {
    const session = sessionTo(ports.imap);
    assert.throws(() => session.appendMessage('Nowhere', new Data(Buffer.from('x')), 0), (error) => {
      assert.equal(Object.getPrototypeOf(error), Error.prototype);
      assert.match(error.message, /^\d+$/);
      assert.notEqual(error.message, '0');
      return true;
    });
    session.disconnect();
  });

  await t.test('a wrong password throws 5', () => {
    const session = sessionTo(ports.imap, { password: 'wrong' });
    assert.throws(() => session.appendMessage('INBOX', new Data(Buffer.from('x')), 0), { name: 'Error', message: '5' });
  });

  await t.test('over TLS and STARTTLS with the authority trusted, untrusted 4', async () => {
    const script = `
      const { Data, IMAPSession } = require(${JSON.stringify(path.join(__dirname, '../module/load.js'))});
      const results = [[4, ${ports.imaps}], [2, ${ports.imap}]].map(([connectionType, port]) => {
        const session = Object.assign(new IMAPSession(), { hostname: 'localhost', port, connectionType, checkCertificateEnabled: true,
          username: ${JSON.stringify(kUser)}, password: 'pw-alice' });
        try { return session.appendMessage('Drafts', new Data(Buffer.from('Subject: tls\\r\\n\\r\\nx\\r\\n')), 0); }
        catch (error) { return error.message; }
      });
      console.log(JSON.stringify(results));
      process.exit(0);`;
    const [command, bundle] = trusting(servers.bundle);
    assert.deepEqual(JSON.parse(execFileSync(command, [bundle, process.execPath, '-e', script], { encoding: 'utf8' })), [1, 2]);
    assert.deepEqual(JSON.parse(execFileSync(process.execPath, ['-e', script], { encoding: 'utf8' })), ['4', '4']);
  });
});

// One script for both connections: the session's own, which selects, and the upload's.
function imapServer(onAppend) {
  return ['* OK [CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR] ready\r\n', { serve: [
    [/^(\S+) CAPABILITY/, '* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n$1 OK done\r\n'],
    [/^(\S+) SELECT/, '* 0 EXISTS\r\n* OK [UIDVALIDITY 1] x\r\n* OK [UIDNEXT 7] x\r\n$1 OK done\r\n'],
    [/^(\S+) APPEND .*\{(\d+)\}/, onAppend],
    [/^(\S+) /, '$1 OK done\r\n'],
    // The end of the line that the message was in.
    [/^\r?\n?$/, ''],
  ] }];
}

const kTakes = ['+ go on\r\n', { bytes: '$2' }, '\r\n$1 OK done\r\n'];

test('the folder in the command is the decoded name; the flags given are not sent', async () => {
  const server = await startScripted([imapServer(kTakes)]);
  try {
    const session = sessionTo(server.port);
    assert.equal(session.appendMessage('Sent Items', new Data(Buffer.from('x\r\n')), 255), 7);
    const lines = (await server.connections()).flatMap((connection) => connection.lines);
    assert.ok(lines.some((line) => /APPEND "Sent Items" \(\\Seen\) \{3\}$/.test(line)), lines.join('\n'));
    // A byte from 0x80 goes with its sign, which curl decodes as far as it is an escape.
    session.appendMessage('\u041e', new Data(Buffer.from('x\r\n')), 0);
    const later = (await server.connections()).flatMap((connection) => connection.lines);
    assert.ok(later.some((line) => line.includes('APPEND') && line.includes('FFFFD0')), later.join('\n'));
    session.disconnect();
  } finally {
    await server.stop();
  }
});

test('a refused upload throws 16', async () => {
  const server = await startScripted([imapServer('$1 NO [OVERQUOTA] full\r\n')]);
  try {
    assert.throws(() => sessionTo(server.port).appendMessage('INBOX', new Data(Buffer.from('x\r\n')), 0), { name: 'Error', message: '16' });
    await assert.rejects(append(sessionTo(server.port), 'INBOX', 'x\r\n'), { name: 'Error', message: 'Error code: 16' });
  } finally {
    await server.stop();
  }
});

test('a connection that ends during the upload throws and never reports a UID', async () => {
  const server = await startScripted([imapServer(['+ go on\r\n', { bytes: 1000 }, { cut: true }])]);
  try {
    assert.throws(() => sessionTo(server.port).appendMessage('INBOX', new Data(Buffer.alloc(4 << 20, 'x')), 0), /^Error: \d+$/);
  } finally {
    await server.stop();
  }
});

test('the upload looks at the certificate by itself', { skip: reasonToSkip({ badtls: true }) }, async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-append-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  makeCertificates(folder);
  const startTls = async (name) => {
    const server = await startScripted([imapServer(kTakes)],
      { tls: 'implicit', certificate: { key: path.join(folder, `${name}.key`), cert: path.join(folder, `${name}.pem`) } });
    t.after(() => server.stop());
    return server;
  };
  const [good, wrong, own] = [await startTls('server'), await startTls('wronghost'), await startTls('selfsigned')];

  // Uploads in a process that trusts the authority: the session's connection goes to one server, the upload's to another.
  const upload = async (first, later, checkCertificateEnabled) => {
    let count = 0;
    const both = net.createServer((client) => {
      const upstream = net.connect((count++ === 0 ? first : later).port, '127.0.0.1');
      client.pipe(upstream).pipe(client);
      for (const socket of [client, upstream]) socket.on('error', () => [client, upstream].forEach((one) => one.destroy()));
    });
    await new Promise((resolve) => both.listen(0, '127.0.0.1', resolve));
    const script = `
      const { Data, IMAPSession } = require(${JSON.stringify(path.join(__dirname, '../module/load.js'))});
      const session = Object.assign(new IMAPSession(), { hostname: '127.0.0.1', port: ${both.address().port}, connectionType: 4,
        username: 'a', password: 'b', checkCertificateEnabled: ${checkCertificateEnabled} });
      const results = [];
      try { results.push(session.appendMessage('INBOX', new Data(Buffer.from('x\\r\\n')), 0)); }
      catch (error) { results.push(error.message); }
      session.appendMessageAsync('INBOX', new Data(Buffer.from('x\\r\\n')), 0, (error, uid) => {
        results.push(error ? error.message : uid);
        console.log(JSON.stringify(results));
        process.exit(0);
      });`;
    const [command, ...args] = [...trusting(path.join(folder, 'bundle.pem')), process.execPath, '-e', script];
    try {
      return JSON.parse(await new Promise((resolve, reject) => {
        execFile(command, args, (error, stdout, stderr) => (error ? reject(new Error(stderr)) : resolve(stdout)));
      }));
    } finally {
      both.close();
    }
  };

  for (const [name, first, later, isChecked, expected] of [
    ['a good certificate', good, good, true, [7, 7]],
    ["another host's is refused", good, wrong, true, ['4', 'Error code: 4']],
    ["another host's is taken where certificates are not checked", wrong, wrong, false, [7, 7]],
    ["an unknown issuer's is refused even there", own, own, false, ['4', 'Error code: 4']],
  ]) {
    await t.test(name, async () => assert.deepEqual(await upload(first, later, isChecked), expected));
  }
});
