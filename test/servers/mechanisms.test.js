// The login mechanisms that need more than a name and a password.
'use strict';

const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const path = require('node:path');
const test = require('node:test');

const { AuthType, ConnectionType, ErrorCode } = require('../../constants.js');
const { IMAPSession, POPSession } = require('../module/load.js');
const { reasonToSkip, startServers } = require('./harness.js');
const { startScripted } = require('./scripted.js');

const kUser = 'alice@example.test';

// The realm and the ticket are found through the environment, so a process of its own logs in.
test('Kerberos tickets', { skip: reasonToSkip({ kerberos: true }) }, async (t) => {
  const servers = await startServers({ kerberos: true });
  t.after(() => servers.stop());
  const logIn = (env, hostname = 'localhost') => JSON.parse(execFileSync(process.execPath, ['-e', `
    const { IMAPSession, POPSession } = require(${JSON.stringify(require.resolve('../module/load.js'))});
    const settings = { hostname: ${JSON.stringify(hostname)}, username: '${kUser}', connectionType: 1, authType: ${AuthType.SASLGSSAPI} };
    const imap = Object.assign(new IMAPSession(), settings, { port: ${servers.ports.imap} });
    const pop = Object.assign(new POPSession(), settings, { port: ${servers.ports.pop3} });
    const codes = [imap.loginIfNeeded(), pop.login()];
    if (codes[0] === 0) imap.fetchAllFolders();
    if (codes[1] === 0) pop.fetchMessages();
    console.log(JSON.stringify(codes));`], { encoding: 'utf8', env: { ...process.env, ...servers.kerberos, ...env } }));
  const ticket = { KRB5CCNAME: `FILE:${path.join(servers.folder, 'k/ticket')}` };

  await t.test('without a ticket the login fails', () => {
    assert.deepEqual(logIn(ticket), [ErrorCode.Authentication, ErrorCode.Authentication]);
  });

  await t.test('with one it needs no password', () => {
    execFileSync('kinit', ['alice'], { input: `${servers.users[kUser]}\n`, env: { ...process.env, ...servers.kerberos, ...ticket }, stdio: ['pipe', 'pipe', 'inherit'] });
    assert.deepEqual(logIn(ticket), [0, 0]);
  });

  await t.test('it holds for its owner and the host of the keys alone', () => {
    assert.deepEqual(logIn(ticket, '127.0.0.1').map((code) => code !== 0), [true, true]);
  });
});

// What Microsoft's description of NTLM ([MS-NLMP] section 4.2.2) computes for this password and challenge,
// version 1 of the protocol: there is no server here to ask.
const kNtlm = {
  password: 'Password',
  challenge: '0123456789abcdef',
  lm: '98def7b87f88aa5dafe2df779688a172def11c7d5ccdef13',
  nt: '67c43011f30298a2ad35ece64f16331c44bdbed927841f94',
};

function ntlmChallenge() {
  const name = Buffer.from('Server', 'utf16le');
  const head = Buffer.alloc(48);
  head.write('NTLMSSP\0', 'latin1');
  head.writeUInt32LE(2, 8);
  head.writeUInt16LE(name.length, 12);
  head.writeUInt16LE(name.length, 14);
  head.writeUInt32LE(head.length, 16);
  head.writeUInt32LE(0x00008233, 20);
  head.write(kNtlm.challenge, 24, 'hex');
  return Buffer.concat([head, name]).toString('base64');
}

// One of the fields of the client's last message: its length and place stand at `at`.
function ntlmField(message, at) {
  const start = message.readUInt32LE(at + 4);
  return message.subarray(start, start + message.readUInt16LE(at));
}

const kCapability = [/^(\S+) CAPABILITY/, '* CAPABILITY IMAP4rev1 SASL-IR AUTH=NTLM\r\n$1 OK\r\n'];
const kNtlmServers = {
  IMAP: {
    script: ['* OK ready\r\n', { serve: [kCapability] }, /^\S+ AUTHENTICATE NTLM \S+\r/, `+ ${ntlmChallenge()}\r\n`, /^\S+\r/, 'B1 OK in\r\n',
      { serve: [kCapability] }],
    logIn: (settings) => Object.assign(new IMAPSession(), settings).loginIfNeeded(),
  },
  POP3: {
    script: ['+OK ready\r\n', /^CAPA/, '+OK\r\nSASL NTLM\r\nTOP\r\nUIDL\r\n.\r\n', /^AUTH NTLM \S+\r/, `+ ${ntlmChallenge()}\r\n`, /^\S+\r/, '+OK in\r\n'],
    logIn: (settings) => Object.assign(new POPSession(), settings).login(),
  },
};

for (const [name, { script, logIn }] of Object.entries(kNtlmServers)) {
  test(`NTLM over ${name} answers the challenge as described`, async (t) => {
    const server = await startScripted([script]);
    t.after(() => server.stop());
    const code = logIn({
      hostname: '127.0.0.1', port: server.port, username: 'User', password: kNtlm.password,
      connectionType: ConnectionType.Clear, authType: AuthType.SASLNTLM,
    });
    const [{ lines, failure }] = await server.connections();
    assert.equal(failure, null);
    const answer = Buffer.from(lines[lines.findIndex((line) => line.includes('NTLM')) + 1], 'base64');
    assert.equal(answer.toString('latin1', 0, 8), 'NTLMSSP\0');
    assert.equal(answer.readUInt32LE(8), 3);
    assert.equal(ntlmField(answer, 12).toString('hex'), kNtlm.lm);
    assert.equal(ntlmField(answer, 20).toString('hex'), kNtlm.nt);
    assert.equal(ntlmField(answer, 36).toString('utf16le'), 'User');
    assert.equal(code, 0);
  });
}
