// What a send makes of servers that refuse, stall, break off or lie.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { makeCertificates } = require('./certificates.js');
const { startScripted } = require('./scripted.js');
const { kFrom, kTo, mail, sendAsync, sessionTo } = require('./smtp.helpers.js');

// Answers of a server that takes everything; a test puts its own rows in front.
const kTakes = [
  [/^EHLO/, '250-ready\r\n250 AUTH PLAIN\r\n'],
  [/^AUTH PLAIN\r\n/, ['334 \r\n', /./, '235 welcome\r\n']],
  [/^(MAIL|RCPT|RSET|HELP)/, '250 fine\r\n'],
  [/^DATA/, ['354 go on\r\n', { data: true }, '250 taken\r\n']],
  [/^QUIT/, ['221 bye\r\n', { close: true }]],
];

const serverThat = (...rows) => ['220 ready ESMTP\r\n', { serve: [...rows, ...kTakes] }];

// Sends one mail to a server with that script and looks at the code, the connections and what was sent.
async function sendTo(script, settings = {}, options = {}) {
  const server = await startScripted(Array.isArray(script[0]) ? script : [script], options);
  try {
    const code = await sendAsync(sessionTo(server.port, settings), mail('scripted'));
    const connections = await server.connections();
    return { code, connections, lines: connections.flatMap((connection) => connection.lines) };
  } finally {
    await server.stop();
  }
}

test('the dialogue: EHLO, MAIL, RCPT, DATA, the message, QUIT', async () => {
  const { code, connections, lines } = await sendTo(serverThat());
  assert.equal(code, 0);
  assert.equal(connections.length, 1);
  assert.match(lines[0], /^EHLO \S+$/);
  assert.deepEqual(lines.slice(1), [`MAIL FROM:<${kFrom}>`, `RCPT TO:<${kTo}>`, 'DATA', 'QUIT']);
  assert.equal(connections[0].blocks[0].text, `${mail('scripted')}.\r\n`);
});

// Five connections: curl reports a refused command as a failed write, which is tried again.
const kRefusals = [
  ['the greeting', ['554 go away\r\n'], 1, 1],
  ['the greeting with 421', ['421 too busy\r\n', { close: true }], 1, 1],
  ['EHLO and HELO', serverThat([/^(EHLO|HELO)/, '502 no\r\n']), 1, 1],
  // curl tries HELO then and finds the connection closed.
  ['EHLO with 421', serverThat([/^(EHLO|HELO)/, ['421 too busy\r\n', { close: true }]]), 30, 1],
  ['the login', serverThat([/^AUTH/, '535 wrong\r\n']), 5, 1],
  ['the login with 421', serverThat([/^AUTH/, ['421 too busy\r\n', { close: true }]]), 5, 1],
  ['the sender', serverThat([/^MAIL/, '550 not you\r\n']), 1, 5],
  ['the sender with 421', serverThat([/^MAIL/, ['421 too busy\r\n', { close: true }]]), 1, 5],
  ['the recipient', serverThat([/^RCPT/, '550 nobody\r\n']), 1, 5],
  ['the recipient with 421', serverThat([/^RCPT/, ['421 too busy\r\n', { close: true }]]), 1, 5],
  ['DATA', serverThat([/^DATA/, '554 no valid recipients\r\n']), 1, 5],
  ['the message', serverThat([/^DATA/, ['354 go on\r\n', { data: true }, '554 spam\r\n']]), 1, 1],
  ['the message with 421', serverThat([/^DATA/, ['354 go on\r\n', { data: true }, '421 too busy\r\n', { close: true }]]), 1, 1],
];

for (const [what, script, code, count] of kRefusals) {
  test(`a server that refuses ${what}: ${code} after ${count} connection${count > 1 ? 's' : ''}`, async () => {
    const result = await sendTo([script], { username: 'user', password: 'secret' });
    assert.equal(result.code, code);
    assert.equal(result.connections.length, count);
  });
}

test('a refusal that passes: the second attempt sends the whole message', async () => {
  const server = await startScripted([serverThat([/^RCPT/, '450 later\r\n']), serverThat()]);
  try {
    assert.equal(await sendAsync(sessionTo(server.port), mail('again')), 0);
    const connections = await server.connections();
    assert.equal(connections.length, 2);
    assert.equal(connections[1].blocks[0].text, `${mail('again')}.\r\n`);
  } finally {
    await server.stop();
  }
});

test('EHLO refused, HELO taken: sends without extensions', async () => {
  const { code, lines } = await sendTo(serverThat([/^EHLO/, '502 unknown\r\n'], [/^HELO/, '250 ready\r\n']));
  assert.equal(code, 0);
  assert.ok(lines.some((line) => line.startsWith('HELO ')));
});

test('a connection that ends during the message fails and never reports success', async () => {
  const { ISMTPAsyncSession } = require('../module/load.js');
  const message = mail('cut', 'x'.repeat(70).concat('\r\n').repeat(200000));
  for (const end of [{ close: true }, { cut: true }]) {
    const server = await startScripted([serverThat([/^DATA/, ['354 go on\r\n', { bytes: 100000 }, end]])]);
    try {
      const session = Object.assign(new ISMTPAsyncSession(), { hostname: '127.0.0.1', port: server.port, connectionType: 1 });
      const code = await sendAsync(session, message);
      assert.ok(code === 1 || code === 30, `code ${code}`);
    } finally {
      await server.stop();
    }
  }
});

test('a connection that ends after the message, before the reply: 30 or 1, not sent again', async () => {
  const { code, connections } = await sendTo(serverThat([/^DATA/, ['354 go on\r\n', { data: true }, { close: true }]]));
  assert.ok(code === 1 || code === 30, `code ${code}`);
  assert.equal(connections.length, 1);
});

test('a connection that ends before the greeting gives an error', async () => {
  for (const end of [{ close: true }, { cut: true }]) {
    const { code } = await sendTo([[end]]);
    assert.ok(code === 1 || code === 30, `code ${code}`);
  }
});

test('garbage for a greeting gives an error', async () => {
  const { code } = await sendTo([[{ garbage: 100000 }, { close: true }]]);
  assert.ok(code === 1 || code === 30, `code ${code}`);
});

test('replies that come a byte at a time are understood', async () => {
  const script = [
    { drip: '220-first\r\n220 ready\r\n', every: 2 }, /^EHLO/, { drip: '250-ready\r\n250 PIPELINING\r\n', every: 2 },
    /^MAIL/, { drip: '250 ok\r\n', every: 2 }, /^RCPT/, '250 ok\r\n', /^DATA/, { drip: '354 go\r\n', every: 2 },
    { data: true }, { drip: '250 ok\r\n', every: 2 }, /^QUIT/, '221 bye\r\n',
  ];
  assert.equal((await sendTo([script])).code, 0);
});

test('STARTTLS that is not offered, or refused, gives 25 and nothing is sent in clear', async () => {
  for (const script of [serverThat(), serverThat([/^EHLO/, '250-ready\r\n250 STARTTLS\r\n'], [/^STARTTLS/, '454 not now\r\n'])]) {
    const { code, lines } = await sendTo([script], { connectionType: 2, username: 'user', password: 'secret' });
    assert.equal(code, 25);
    assert.ok(!lines.some((line) => /^(AUTH|MAIL)/.test(line)), lines.join('\n'));
  }
});

test('without name and password there is no login, wherever it is offered', async () => {
  const { code, lines } = await sendTo(serverThat());
  assert.equal(code, 0);
  assert.ok(!lines.some((line) => line.startsWith('AUTH')));
});

test('the token never goes to a server that offers no way to take it', async () => {
  const { code, lines } = await sendTo(serverThat(), { authType: 256, OAuth2Token: 'token', username: 'user', password: 'secret' });
  assert.equal(code, 5);
  assert.ok(!lines.some((line) => line.startsWith('AUTH')));
});

test('a token without a user name reaches the server', async () => {
  for (const [offer, start] of [['XOAUTH2', 'user=\x01auth=Bearer token\x01\x01'], ['OAUTHBEARER', 'n,a=,\x01']]) {
    const { code, lines } = await sendTo(serverThat(
        [/^EHLO/, `250-ready\r\n250 AUTH ${offer}\r\n`], [/^AUTH /, ['334 \r\n', /./, '235 welcome\r\n']]),
      { authType: 256, OAuth2Token: 'token' });
    assert.equal(code, 0);
    const answer = Buffer.from(lines[lines.findIndex((line) => line.startsWith('AUTH')) + 1], 'base64').toString('latin1');
    assert.ok(answer.startsWith(start), JSON.stringify(answer));
    assert.match(answer, /auth=Bearer token\x01\x01$/);
  }
});

test('a message without To, Cc and Bcc sends to nobody', async () => {
  const server = await startScripted([serverThat()]);
  const { ISMTPAsyncSession } = require('../module/load.js');
  const session = Object.assign(new ISMTPAsyncSession(), { hostname: '127.0.0.1', port: server.port, connectionType: 1 });
  try {
    const code = session.sendMessage('From: a@example.test\r\nSubject: nobody\r\n\r\nbody\r\n');
    assert.equal(typeof code, 'number');
    const [connection] = await server.connections();
    assert.ok(!connection.lines.some((line) => /^(MAIL|RCPT|DATA)/.test(line)));
  } finally {
    await server.stop();
  }
});

test('the event loop stays free while a send waits', async () => {
  const server = await startScripted([[{ delay: 1000 }, '220 ready\r\n', { serve: kTakes }]]);
  try {
    let ticks = 0;
    const timer = setInterval(() => { ticks++; }, 10);
    assert.equal(await sendAsync(sessionTo(server.port), mail('slow')), 0);
    clearInterval(timer);
    assert.ok(ticks > 50, `${ticks} ticks`);
  } finally {
    await server.stop();
  }
});

test('two sends on one session at once: each waits for its own server reply', async () => {
  const server = await startScripted([[{ delay: 300 }, '220 ready\r\n', { serve: kTakes }]]);
  try {
    const session = sessionTo(server.port);
    const codes = await Promise.all([
      sendAsync(session, mail('one'), kFrom, ['one@example.test']),
      sendAsync(session, mail('two'), kFrom, ['two@example.test']),
    ]);
    assert.deepEqual(codes, [0, 0]);
    const lines = (await server.connections()).flatMap((connection) => connection.lines);
    for (const name of ['one', 'two']) assert.ok(lines.includes(`RCPT TO:<${name}@example.test>`));
  } finally {
    await server.stop();
  }
});

test('properties may be set while a send runs', async () => {
  const server = await startScripted([[{ delay: 200 }, '220 ready\r\n', { serve: kTakes }]]);
  try {
    const session = sessionTo(server.port);
    const sent = sendAsync(session, mail('changing'));
    for (let i = 0; i < 2000; i++) session.username = `user-${'x'.repeat(i % 100)}`;
    assert.equal(await sent, 0);
  } finally {
    await server.stop();
  }
});

// The certificates of the next tests need no trust: the sends must fail before or at the handshake.
test('bytes that are injected behind the STARTTLS reply end the send', async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'mail-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  makeCertificates(folder);
  const certificate = { key: path.join(folder, 'server.key'), cert: path.join(folder, 'server.pem') };
  const script = ['220 ready\r\n', /^EHLO/, '250-ready\r\n250 STARTTLS\r\n', /^STARTTLS/,
    '220 go ahead\r\n250-injected\r\n250 AUTH PLAIN\r\n', { starttls: true }, { serve: kTakes }];
  const { code, lines } = await sendTo([script], { connectionType: 2, username: 'user', password: 'secret' }, { certificate });
  assert.equal(code, 1);
  assert.ok(!lines.some((line) => /^(AUTH|MAIL)/.test(line)));
});
