'use strict';
// RSA signatures and encryption to and from two further implementations: GnuPG's gpgsm and NSS's cmsutil.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const { folder, pem, both, read, file, ownStore, openssl } = require('./smime_people.js');
const { MessageBuilder, MessageHeader, MessageParser } = require('./load.js');

const isInstalled = (program) => !spawnSync(program, ['--version']).error;
const text = 'Between implementations.';

function build(prepare) {
  const header = new MessageHeader();
  header.from = 'alice@example.org';
  header.to = ['alice@example.org'];
  const builder = new MessageBuilder();
  builder.header = header;
  builder.textBody = text;
  prepare(builder);
  return Buffer.from(builder.data);
}

function parse(mail) {
  const parser = new MessageParser();
  parser.Import(mail);
  return parser;
}

// What is signed and the signature, out of a multipart/signed.
function takeApart(mail) {
  const all = mail.toString('latin1');
  const boundary = /boundary="([^"]+)"/.exec(all)[1];
  const parts = all.split(`--${boundary}`);
  const content = parts[1].replace(/^\r\n/, '').replace(/\r\n$/, '');
  return { content: Buffer.from(content, 'latin1'), signature: Buffer.from(parts[2].split('\r\n\r\n')[1], 'base64') };
}

const encryptedOf = (mail) => Buffer.from(mail.toString('latin1').split('\r\n\r\n')[1], 'base64');
const kEntity = `Content-Type: text/plain; charset=utf-8\r\n\r\n${text}\r\n`;

function enveloped(der) {
  return Buffer.concat([Buffer.from('From: a@example.org\r\nContent-Type: application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m\r\n' +
    'Content-Transfer-Encoding: base64\r\n\r\n'), Buffer.from(der.toString('base64').replace(/.{76}/g, '$&\r\n'))]);
}

function signed(der) {
  return Buffer.from('From: alice@example.org\r\nContent-Type: multipart/signed; protocol="application/pkcs7-signature"; boundary=b\r\n\r\n' +
    `--b\r\n${kEntity}\r\n--b\r\nContent-Type: application/pkcs7-signature\r\nContent-Transfer-Encoding: base64\r\n\r\n` +
    `${der.toString('base64').replace(/.{76}/g, '$&\r\n')}\r\n--b--\r\n`);
}

// Runs the four directions with what a peer offers.
function exchange(peer) {
  ownStore('alice');
  const { content, signature } = takeApart(build((builder) => builder.SetSignerCert(both('alice'))));
  assert.ok(peer.verifies(content, signature), 'ours, verified there');
  const tampered = Buffer.from(content);
  tampered[tampered.length - 5] ^= 1;
  assert.ok(!peer.verifies(tampered, signature), 'ours, tampered with');
  assert.ok(peer.decrypt(encryptedOf(build((builder) => builder.SetRecipientsCerts([pem('alice')])))).includes(text), 'ours, decrypted there');

  const theirs = parse(signed(peer.sign(Buffer.from(kEntity))));
  assert.equal(theirs.isSigned, true);
  assert.equal(theirs.verifyResult, true, 'theirs, verified here');
  assert.equal(theirs.extendedSignInfo.signAlg, 'RSA');
  const opened = parse(enveloped(peer.encrypt(Buffer.from(kEntity))));
  assert.equal(opened.decryptMessage, '');
  assert.equal(opened.decryptResult, true, 'theirs, decrypted here');
  assert.equal(opened.PlainTextBodyRendering().trim(), text);
}

test('gpgsm reads ours, and we read its', { skip: isInstalled('gpgsm') ? false : 'gpgsm is not installed' }, () => {
  const home = path.join(folder, 'gnupg');
  fs.mkdirSync(home, { mode: 0o700 });
  const run = (args, input) => spawnSync('gpgsm', ['--homedir', home, '--batch', '--disable-dirmngr', '--disable-crl-checks',
    '--pinentry-mode', 'loopback', '--passphrase-fd', '0', ...args], { input: Buffer.concat([Buffer.from('\n'), input ?? Buffer.alloc(0)]) });
  const put = (name, bytes) => {
    fs.writeFileSync(path.join(home, name), bytes);
    return path.join(home, name);
  };
  try {
    put('gpg-agent.conf', 'allow-loopback-pinentry\n');
    const fingerprint = openssl(['x509', '-in', file('ca-rsa.crt'), '-noout', '-fingerprint', '-sha1']).out.toString().split('=')[1].trim();
    put('trustlist.txt', `${fingerprint} S relax\n`);
    // gpgsm 2.2 reads old encryption only.
    openssl(['pkcs12', '-export', '-legacy', '-in', file('alice.crt'), '-inkey', file('alice.key'), '-certfile', file('ca-rsa.crt'),
      '-passout', 'pass:', '-out', path.join(home, 'alice.p12')]);
    for (const name of ['ca-rsa.crt', 'alice.crt']) run(['--import', file(name)]);
    const imported = run(['--import', path.join(home, 'alice.p12')]);
    const keys = run(['--list-secret-keys', '--with-colons']).stdout.toString();
    assert.match(keys, /alice@example\.org/, imported.stderr.toString());
    exchange({
      verifies: (content, signature) => run(['--verify', put('s.p7s', signature), put('content', content)]).status === 0,
      decrypt: (der) => run(['--output', '-', '--decrypt', put('e.der', der)]).stdout,
      sign: (content) => run(['--output', '-', '--digest-algo', 'SHA256', '--local-user', 'alice@example.org', '--detach-sign', put('content', content)]).stdout,
      encrypt: (content) => run(['--output', '-', '--recipient', 'alice@example.org', '--encrypt', put('content', content)]).stdout,
    });
  } finally {
    spawnSync('gpgconf', ['--homedir', home, '--kill', 'gpg-agent']);
  }
});

test('cmsutil reads ours, and we read its', { skip: isInstalled('cmsutil') ? false : 'cmsutil is not installed' }, () => {
  const home = path.join(folder, 'nss');
  fs.mkdirSync(home, { mode: 0o700 });
  const database = `sql:${home}`;
  const run = (program, ...args) => spawnSync(program, args);
  const put = (name, bytes) => {
    fs.writeFileSync(path.join(home, name), bytes);
    return path.join(home, name);
  };
  run('certutil', '-N', '-d', database, '--empty-password');
  run('certutil', '-A', '-d', database, '-n', 'ca', '-t', ',C,', '-i', file('ca-rsa.crt'));
  const imported = run('pk12util', '-d', database, '-i', file('alice.p12'), '-W', 'secret', '-K', '');
  assert.equal(imported.status, 0, imported.stderr.toString());
  exchange({
    verifies: (content, signature) => run('cmsutil', '-D', '-d', database, '-u', '4', '-c', put('content', content), '-i', put('s.p7s', signature)).status === 0,
    decrypt: (der) => run('cmsutil', '-D', '-d', database, '-i', put('e.der', der)).stdout,
    sign: (content) => run('cmsutil', '-S', '-d', database, '-T', '-N', 'alice', '-H', 'SHA256', '-G', '-i', put('content', content)).stdout,
    encrypt: (content) => run('cmsutil', '-E', '-d', database, '-r', 'alice@example.org', '-i', put('content', content)).stdout,
  });
});
