// The harness itself: servers come up, take and deliver a mail, and leave nothing behind.
'use strict';

const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const path = require('node:path');
const { once } = require('node:events');
const test = require('node:test');

const { reasonToSkip, startServers, waitForMessage } = require('./harness.js');
const { startScripted } = require('./scripted.js');

async function talk(port, lines) {
  const socket = net.connect(port, '127.0.0.1');
  let text = '';
  socket.on('data', (bytes) => { text += bytes; });
  for (const line of lines) {
    await once(socket, 'data');
    socket.write(line);
  }
  await once(socket, 'close');
  return text;
}

test('a mail given to Postfix lies in the mailbox, and stopping leaves no process and no file',
  { skip: reasonToSkip({ postfix: true, old: true, badtls: true }) }, async () => {
    const servers = await startServers({ postfix: true, old: true, badtls: true });
    let stopped = false;
    try {
      const answer = await talk(servers.ports.smtp, [
        'EHLO test\r\n', 'MAIL FROM:<bob@example.test>\r\n', 'RCPT TO:<alice@example.test>\r\n', 'DATA\r\n',
        'Subject: harness\r\n\r\nbody\r\n.\r\n', 'QUIT\r\n',
      ]);
      assert.match(answer, /250-AUTH PLAIN/);
      const message = await waitForMessage(servers, 'alice@example.test', 'Subject: harness');
      assert.match(message.toString('latin1'), /\r\n\r\nbody\r\n$/);
      assert.match(await talk(servers.ports.imap, ['a LOGOUT\r\n']), /\* OK .*AUTH=XOAUTH2/);
      assert.match(await talk(servers.ports.oldImap, ['a LOGOUT\r\n']), /\* OK \[CAPABILITY IMAP4rev1 SASL-IR/);
      await servers.stop();
      stopped = true;
      for (const pid of servers.pids) assert.throws(() => process.kill(pid, 0), `process ${pid} runs on`);
      assert.equal(fs.existsSync(servers.folder), false);
    } finally {
      if (!stopped) await servers.stop();
    }
  });

test('a scripted server takes an empty mail', async () => {
  const server = await startScripted([['220 ready\r\n', /^DATA/, '354 go\r\n', { data: true }, '250 taken\r\n', { close: true }]]);
  try {
    assert.equal(await talk(server.port, ['DATA\r\n', '.\r\n']), '220 ready\r\n354 go\r\n250 taken\r\n');
    assert.deepEqual((await server.connections())[0].blocks, [{ length: 3, text: '.\r\n' }]);
  } finally {
    await server.stop();
  }
});

test('a scripted server answers by its script and reports what it saw', async () => {
  const server = await startScripted([
    ['220 ready\r\n', /^EHLO (.*)\r\n/, '250 hello $1\r\n', /^DATA/, '354 go\r\n', { data: true }, { close: true }],
    ['220 again\r\n', /^EHLO/],
  ]);
  try {
    const text = await talk(server.port, ['EHLO me\r\n', 'DATA\r\n', 'one\r\ntwo\r\n.\r\n']);
    assert.equal(text, '220 ready\r\n250 hello me\r\n354 go\r\n');
    await talk(server.port, ['HELO me\r\n']);
    const [first, second] = await server.connections();
    assert.deepEqual(first.lines, ['EHLO me', 'DATA']);
    assert.equal(first.blocks[0].text, 'one\r\ntwo\r\n.\r\n');
    assert.equal(first.failure, null);
    assert.match(second.failure, /HELO me/);
  } finally {
    await server.stop();
  }
});

test('a private authority is trusted inside the namespace only',
  { skip: reasonToSkip({ badtls: true }) }, async () => {
    const before = fs.readFileSync('/etc/ssl/certs/ca-certificates.crt');
    const servers = await startServers({ badtls: true });
    try {
      const inside = execFileSync(path.join(__dirname, 'private-ca.sh'),
        [servers.bundle, 'sha256sum', '/etc/ssl/certs/ca-certificates.crt', servers.bundle], { encoding: 'utf8' });
      const sums = inside.trim().split('\n').map((line) => line.split(' ')[0]);
      assert.equal(sums[0], sums[1]);
      assert.deepEqual(fs.readFileSync('/etc/ssl/certs/ca-certificates.crt'), before);
    } finally {
      await servers.stop();
    }
  });
