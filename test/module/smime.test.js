'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const { X509Certificate } = crypto;
const { folder, fixtures, hasGost, read, pem, both, file, emptyStore, put, ownStore, openssl, store } =
  require('./smime_people.js');
const { MessageBuilder, MessageHeader, MessageParser, Attachment } = require('./load.js');

const noGost = hasGost ? false : 'the GOST engine is not installed';
const kinds = [
  { name: 'alice', sign: 'RSA', hash: 'SHA-256', micalg: 'sha-256', engine: [] },
  { name: 'bob', sign: 'ECDSA', hash: 'SHA-256', micalg: 'sha-256', engine: [] },
  { name: 'grigory', sign: 'GOST R 34.10-2012 256', hash: 'GOST R 34.11-2012 256', micalg: 'gostr3411-2012-256',
    engine: ['-engine', 'gost'] },
  { name: 'galina', sign: 'GOST R 34.10-2012 512', hash: 'GOST R 34.11-2012 512', micalg: 'gostr3411-2012-512',
    engine: ['-engine', 'gost'] },
];
const skipFor = (kind) => (kind.engine.length ? noGost : false);

const text = 'Grüße, the secret is 4711.\r\n';
function builder({ from = 'alice@example.org', to = 'bob@example.org', body = text } = {}) {
  const header = new MessageHeader();
  header.from = from;
  header.to = [to];
  header.subject = 'Signed and sealed';
  const result = new MessageBuilder();
  result.header = header;
  result.textBody = body;
  return result;
}

function parse(mail, settings = {}) {
  const parser = new MessageParser();
  Object.assign(parser, settings);
  parser.Import(Buffer.from(mail));
  return parser;
}

const results = (parser) => ({
  isSigned: parser.isSigned,
  verifyResult: parser.verifyResult,
  isEncrypted: parser.isEncrypted,
  decryptResult: parser.decryptResult,
  decryptMessage: parser.decryptMessage,
});
const kPlain = { isSigned: false, verifyResult: false, isEncrypted: false, decryptResult: false, decryptMessage: '' };

test('a plain message is neither signed nor encrypted', () => {
  ownStore();
  const parser = parse(builder().data);
  assert.deepEqual(results(parser), kPlain);
  assert.equal(parser.extendedSignInfo, undefined);
  assert.equal(parser.signerCertificate, undefined);
});

for (const kind of kinds) {
  test(`signing: ${kind.sign}, read back and by openssl`, { skip: skipFor(kind) }, () => {
    ownStore();
    const b = builder();
    b.SetSignerCert(both(kind.name));
    const before = Date.now();
    const mail = Buffer.from(b.data);
    const parser = parse(mail);
    assert.deepEqual(results(parser), { ...kPlain, isSigned: true, verifyResult: true });
    assert.equal(parser.PlainTextBodyRendering().trim(), text.trim());
    assert.deepEqual(parser.attachments, []);
    assert.equal(parser.header.subject, 'Signed and sealed');
    const info = parser.extendedSignInfo;
    assert.deepEqual(Object.keys(info), ['creationDate', 'signAlg', 'hashAlg']);
    assert.match(info.creationDate, /^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$/);
    assert.ok(Math.abs(Date.parse(info.creationDate) - before) < 10_000);
    assert.equal(info.signAlg, kind.sign);
    assert.equal(info.hashAlg, kind.hash);
    assert.deepEqual(parser.signerCertificate, Buffer.from(pem(kind.name).replace(/-----[^-]+-----|\s/g, ''), 'base64'));
    assert.match(mail.toString(), new RegExp(`micalg="?${kind.micalg}`));

    const authority = kind.engine.length ? 'ca-gost' : 'ca-rsa';
    const verified = openssl(['cms', '-verify', ...kind.engine, '-CAfile', file(`${authority}.crt`)], mail);
    assert.ok(verified.ok, verified.err);
    const tampered = openssl(['cms', '-verify', ...kind.engine, '-CAfile', file(`${authority}.crt`)],
      mail.toString('latin1').replace('4711', '4712'));
    assert.ok(!tampered.ok);
  });

  test(`signing: ${kind.sign}, a changed letter is noticed and still shown`, { skip: skipFor(kind) }, () => {
    ownStore();
    const b = builder();
    b.SetSignerCert(both(kind.name));
    const parser = parse(Buffer.from(Buffer.from(b.data).toString('latin1').replace('4711', '4712'), 'latin1'));
    assert.deepEqual(results(parser), { ...kPlain, isSigned: true });
    assert.match(parser.PlainTextBodyRendering(), /4712/);
  });

  test(`signing: ${kind.sign}, what openssl signed is read`, { skip: skipFor(kind) }, () => {
    ownStore();
    const content = 'Content-Type: text/plain; charset=utf-8\r\n\r\nby openssl\r\n';
    for (const how of [[], ['-nodetach'], ['-noattr'], ['-keyid']]) {
      const made = openssl(['cms', '-sign', '-binary', '-crlfeol', ...how, ...kind.engine, '-signer', file(`${kind.name}.crt`),
        '-inkey', file(`${kind.name}.key`)], content);
      assert.ok(made.ok, made.err);
      const parser = parse(made.out);
      assert.deepEqual(results(parser), { ...kPlain, isSigned: true, verifyResult: true }, how.join());
      assert.equal(parser.PlainTextBodyRendering().trim(), 'by openssl');
    }
  });

  test(`encrypting: for ${kind.sign}, read back and by openssl`, { skip: skipFor(kind) }, () => {
    ownStore(kind.name);
    const b = builder();
      b.addAttachments([new Attachment(Buffer.alloc(100_000, 7), 'note.bin')]);
    b.SetRecipientsCerts([pem(kind.name)]);
    const mail = Buffer.from(b.data);
    // With blanks, which base64 has not: four digits alone stand in some ciphertext by chance.
    assert.ok(!mail.includes('secret is 4711'));
    assert.match(mail.toString(), /^Content-Type: application\/pkcs7-mime; smime-type=enveloped-data/m);
    const parser = parse(mail);
    assert.deepEqual(results(parser), { ...kPlain, isEncrypted: true, decryptResult: true });
    assert.equal(parser.PlainTextBodyRendering().trim(), text.trim());
    assert.deepEqual(parser.attachments.map((part) => part.filename), ['note.bin']);
    assert.equal(Buffer.compare(parser.attachments[0].data, Buffer.alloc(100_000, 7)), 0);

    const opened = openssl(['cms', '-decrypt', ...kind.engine, '-recip', file(`${kind.name}.crt`), '-inkey',
      file(`${kind.name}.key`)], mail);
    assert.ok(opened.ok, opened.err);
    assert.ok(opened.out.includes('Content-Type: multipart/mixed'));
  });

  test(`encrypting: for ${kind.sign}, what openssl encrypted is read`, { skip: skipFor(kind) }, () => {
    ownStore(kind.name);
    const content = 'Content-Type: text/plain; charset=utf-8\r\n\r\nby openssl\r\n';
    for (const cipher of kind.engine.length ? ['gost89'] : ['aes-128-cbc', 'aes-256-cbc', 'des3', 'aes-256-gcm']) {
      for (const how of [[], ['-keyid'], ['-stream']]) {
        // The option for the key makes the command line take the way that GOST keys need.
        const made = openssl(['cms', '-encrypt', '-binary', ...how, `-${cipher}`, ...kind.engine, '-recip', file(`${kind.name}.crt`),
          ...(kind.engine.length ? ['-keyopt', 'ukmhex:0102030405060708'] : [])], content);
        assert.ok(made.ok, made.err);
        const parser = parse(made.out);
        assert.deepEqual(results(parser), { ...kPlain, isEncrypted: true, decryptResult: true }, cipher + how);
        assert.equal(parser.PlainTextBodyRendering().trim(), 'by openssl');
      }
    }
  });
}

// What other programs choose where we have made up our mind.
test('other padding, digests, derivations and curves of openssl are read', () => {
  ownStore('alice', 'bob');
  const content = 'Content-Type: text/plain; charset=utf-8\r\n\r\nby openssl\r\n';
  const signer = (name, ...options) => ['-sign', '-nodetach', '-signer', file(`${name}.crt`), '-inkey', file(`${name}.key`),
    ...options.flatMap((option) => (option.includes('_') ? ['-keyopt', option] : ['-md', option]))];
  const recipient = (name, ...options) => ['-encrypt', '-aes-256-cbc', '-recip', file(`${name}.crt`),
    ...options.flatMap((option) => (option.includes('_') ? ['-keyopt', option] : [`-${option}`]))];
  const rows = [
    ...['sha224', 'sha384', 'sha512'].flatMap((digest) => [signer('alice', digest), signer('bob', digest)]), signer('alice', 'sha3-256'),
    signer('alice', 'rsa_padding_mode:pss'), signer('alice', 'rsa_padding_mode:pss', 'rsa_pss_saltlen:max', 'rsa_mgf1_md:sha1'),
    ...['sha1', 'sha256', 'sha512'].map((digest) => recipient('alice', 'rsa_padding_mode:oaep', `rsa_oaep_md:${digest}`, 'rsa_mgf1_md:sha256')),
    ...['sha1', 'sha224', 'sha256', 'sha384', 'sha512'].map((digest) => recipient('bob', `ecdh_kdf_md:${digest}`)),
    recipient('bob', 'ecdh_cofactor_mode:1'), ...['aes128-wrap', 'aes192-wrap', 'aes256-wrap', 'des3-wrap'].map((wrap) => recipient('bob', wrap)),
  ];
  for (const row of rows) {
    const made = openssl(['cms', '-binary', ...row], content);
    assert.ok(made.ok, made.err);
    const parser = parse(made.out);
    assert.equal(row[0] === '-sign' ? parser.verifyResult : parser.decryptResult, true, row.join(' '));
    assert.equal(parser.PlainTextBodyRendering().trim(), 'by openssl');
  }
  // These are read, and not believed.
  for (const row of [signer('alice', 'md5'), signer('alice', 'sha1'), signer('bob', 'sha1'), signer('alice', 'sha1', 'rsa_padding_mode:pss')]) {
    const made = openssl(['cms', '-binary', ...row], content);
    assert.ok(made.ok, made.err);
    const parser = parse(made.out);
    assert.deepEqual(results(parser), { ...kPlain, isSigned: true }, row.join(' '));
    assert.equal(parser.PlainTextBodyRendering().trim(), 'by openssl');
  }
});

test('signing and encrypting: the signature is inside', () => {
  ownStore('bob');
  const b = builder();
  b.SetSignerCert(both('alice'));
  b.SetRecipientsCerts([pem('bob')]);
  const mail = Buffer.from(b.data);
  assert.ok(!mail.includes('multipart/signed'));
  const parser = parse(mail);
  assert.deepEqual(results(parser), { isSigned: true, verifyResult: true, isEncrypted: true, decryptResult: true, decryptMessage: '' });
  assert.equal(parser.extendedSignInfo.signAlg, 'RSA');
  assert.equal(parser.PlainTextBodyRendering().trim(), text.trim());
  assert.deepEqual(parser.attachments, []);
});

test('triple wrapping: a signature around the encryption around a signature', () => {
  ownStore('bob');
  const b = builder();
  b.SetSignerCert(both('alice'));
  b.SetRecipientsCerts([pem('bob')]);
  const inner = Buffer.from(b.data).toString('latin1');
  const entity = inner.slice(inner.indexOf('Content-Type: application/pkcs7-mime'));
  for (const how of [[], ['-nodetach']]) {
    const wrapped = openssl(['cms', '-sign', '-binary', ...how, '-signer', file('bob.crt'), '-inkey', file('bob.key'),
      '-from', 'bob@example.org'], Buffer.from(entity, 'latin1'));
    assert.ok(wrapped.ok, wrapped.err);
    const parser = parse(wrapped.out);
    assert.deepEqual(results(parser), { isSigned: true, verifyResult: true, isEncrypted: true, decryptResult: true, decryptMessage: '' });
    assert.equal(parser.extendedSignInfo.signAlg, 'ECDSA', 'of the outermost signature');
    assert.equal(parser.PlainTextBodyRendering().trim(), text.trim());
  }
});

test('several recipients: each reads it, nobody else does', { skip: noGost }, () => {
  const b = builder();
  b.SetRecipientsCerts([pem('alice') + pem('bob'), pem('grigory'), pem('galina')]);
  const mail = Buffer.from(b.data);
  for (const name of ['alice', 'bob', 'grigory', 'galina']) {
    ownStore(name);
    assert.equal(parse(mail).PlainTextBodyRendering().trim(), text.trim(), name);
  }
  ownStore('signonly');
  const parser = parse(mail);
  assert.deepEqual(results(parser), { ...kPlain, isEncrypted: true,
    decryptMessage: 'No private key found for any recipient of this message' });
});

test('what cannot be decrypted stays as the attachment that it is', () => {
  const b = builder();
  b.SetRecipientsCerts([pem('bob')]);
  ownStore('alice');
  const parser = parse(b.data);
  assert.equal(parser.PlainTextBodyRendering().includes('4711'), false);
  assert.equal(parser.HtmlRendering().includes('4711'), false);
  assert.equal(parser.attachments.length, 1);
  assert.equal(parser.attachments[0].filename, 'smime.p7m');
  const opened = openssl(['cms', '-decrypt', '-inform', 'DER', '-recip', file('bob.crt'), '-inkey', file('bob.key')],
    parser.attachments[0].data);
  assert.ok(opened.ok, opened.err);
});

test('decryptMessage: each reason has its text', () => {
  const b = builder();
  b.SetRecipientsCerts([pem('bob')]);
  const mail = Buffer.from(b.data);
  const message = (bytes, settings) => parse(bytes, settings).decryptMessage;
  ownStore('bob');
  assert.equal(message(mail), '');
  assert.equal(message(mail, { doNotDecrypt: true }), 'Decryption is switched off');
  ownStore('alice');
  assert.equal(message(mail), 'No private key found for any recipient of this message');
  if (process.platform !== 'win32') { // there, a mode opens nothing: the unit tests set access control lists
    ownStore();
    put('my/bob.crt', pem('bob'));
    put('my/bob.key', read('bob.key'), 0o644);
    assert.equal(message(mail), 'The private key cannot be opened');
  }
  ownStore('bob');
  const der = Buffer.from(mail.toString().split('\r\n\r\n')[1], 'base64');
  const wrap = (bytes) => Buffer.concat([
    Buffer.from('From: a@example.org\r\nContent-Type: application/pkcs7-mime; smime-type=enveloped-data\r\nContent-Transfer-Encoding: base64\r\n\r\n'),
    Buffer.from(bytes.toString('base64').replace(/.{76}/g, '$&\r\n'))]);
  assert.equal(message(wrap(der)), '');
  assert.equal(message(wrap(der.subarray(0, der.length - 10))), 'The encrypted data is malformed');
  const unknown = Buffer.from(der);
  const at = unknown.lastIndexOf(Buffer.from('60864801650304012a', 'hex'));
  unknown[at + 8] = 0x63;
  assert.equal(message(wrap(unknown)), 'Unsupported encryption algorithm OID');
  const broken = Buffer.from(der);
  broken[broken.length - 1] ^= 0x55;
  assert.equal(message(wrap(broken)), 'Decryption failed');
  const password = openssl(['cms', '-encrypt', '-aes256', '-pwri_password', 'x'], 'Content-Type: text/plain\r\n\r\nx');
  assert.equal(message(password.out), 'Unsupported recipient type');
});

test('doNotDecrypt: carried over by Import, not by Read', () => {
  ownStore('bob');
  const b = builder();
  b.SetRecipientsCerts([pem('bob')]);
  const name = path.join(folder, 'encrypted.eml');
  fs.writeFileSync(name, b.data);
  const parser = new MessageParser();
  parser.doNotDecrypt = true;
  parser.Import(fs.readFileSync(name));
  assert.equal(parser.decryptResult, false);
  assert.equal(parser.doNotDecrypt, true);
  assert.equal(parser.decryptMessage, 'Decryption is switched off');
  parser.Read(name);
  assert.equal(parser.doNotDecrypt, false);
  assert.equal(parser.decryptResult, true);
});

test('keyUsagePolicy of the parser: none asks nothing, the others look at the use', () => {
  ownStore();
  const b = builder({ from: 'encryptonly@example.org' });
  b.SetSignerCert(both('encryptonly'));
  const mail = Buffer.from(b.data);
  assert.equal(parse(mail).verifyResult, true);
  for (const policy of ['kupKeyUsage', 'kupEmail', 'kupStrict', 'no such policy']) {
    const parser = parse(mail, { keyUsagePolicy: policy });
    assert.equal(parser.verifyResult, false, policy);
    assert.equal(parser.isSigned, true);
    assert.equal(parser.keyUsagePolicy, policy);
  }
});

test('keyUsagePolicy of the parser: the strictest holds From against the certificate', () => {
  ownStore();
  const verdict = (from, policy) => {
    const b = builder({ from });
    b.SetSignerCert(both('alice'));
    return parse(b.data, { keyUsagePolicy: policy }).verifyResult;
  };
  assert.equal(verdict('alice@example.org', 'kupStrict'), true);
  assert.equal(verdict('Alice@EXAMPLE.org', 'kupStrict'), true);
  assert.equal(verdict('boss@example.org', 'kupStrict'), false);
  assert.equal(verdict('boss@example.org', 'kupEmail'), true);
});

test('keyUsagePolicy of the parser: the strictest wants every author in the certificate', () => {
  ownStore();
  const b = builder();
  b.SetSignerCert(both('alice'));
  const mail = Buffer.from(b.data).toString('latin1');
  const verdict = (from) => {
    const changed = mail.replace(/^From: .*$/m, () => from.join('\r\n'));
    const results = ['kupNone', 'kupStrict'].map((keyUsagePolicy) => parse(Buffer.from(changed, 'latin1'), { keyUsagePolicy }).verifyResult);
    assert.equal(results[0], true);
    return results[1];
  };
  assert.equal(verdict(['From: alice@example.org']), true);
  assert.equal(verdict(['From: Alice <alice@example.org>, ALICE@example.org']), true);
  for (const from of [
    ['From: "alice@example.org" <eve@example.org>'], ['From: alice@example.org <eve@example.org>'], ['From: eve@example.org (alice@example.org)'],
    ['From: =?utf-8?q?alice=40example.org?= <eve@example.org>'], ['From: alice@example.org, eve@example.org'],
    ['From: eve@example.org, alice@example.org'], ['From: alice@example.org', 'From: eve@example.org'],
    ['From: eve@example.org', 'From: alice@example.org'], ['From: eve@example.org', 'Sender: alice@example.org'],
    ['From: alice@example.org\0@example.net'], ['From:'], ['Sender: alice@example.org'],
  ]) assert.equal(verdict(from), false, from.join());
});

test('keyUsagePolicy of the builder: a violation fails the build', () => {
  ownStore();
  const build = (policy, signer, recipient, from = 'signonly@example.org') => {
    const b = builder({ from, to: 'encryptonly@example.org' });
    b.keyUsagePolicy = policy;
    if (signer) b.SetSignerCert(both(signer));
    if (recipient) b.SetRecipientsCerts([pem(recipient)]);
    return () => b.data;
  };
  for (const policy of ['kupKeyUsage', 'kupEmail', 'kupStrict']) {
    build(policy, 'signonly', 'encryptonly')();
    assert.throws(build(policy, 'encryptonly', null), { message: new RegExp(`^Signing certificate is not allowed by the policy ${policy}: `) });
    assert.throws(build(policy, null, 'signonly'), { message: new RegExp(`^Recipient certificate is not allowed by the policy ${policy}: `) });
  }
  build('kupNone', 'encryptonly', 'signonly')();
  assert.throws(build('kupStrict', 'signonly', null, 'other@example.org'), /not allowed by the policy kupStrict/);
});

test('SetSignerCert: every form finds the certificate', () => {
  ownStore('alice');
  const certificate = new X509Certificate(pem('alice'));
  const signs = (...names) => {
    const b = builder();
    b.SetSignerCert(...names);
    const parser = parse(b.data);
    assert.equal(parser.verifyResult, true);
    assert.deepEqual(parser.signerCertificate, certificate.raw);
  };
  signs(both('alice'));
  signs(both('alice'), undefined);
  signs(pem('alice'), read('alice.key').toString());
  signs(certificate.fingerprint);
  signs(certificate.fingerprint256.replace(/:/g, '').toLowerCase());
  signs(file('alice.p12'), 'secret');
  signs(file('alice.crt'));
  signs('alice@example.org');
  signs(certificate.raw.toString('base64'));
  signs(read('alice.p12').toString('base64'), 'secret');
});

test('a build that cannot find or use a certificate fails with a text, and as an async build with the fixed one', async () => {
  ownStore();
  const fails = async (prepare, message) => {
    const b = builder();
    prepare(b);
    assert.throws(() => b.data, { name: 'Error', message });
    const error = await new Promise((resolve) => b.getDataAsync(resolve));
    assert.equal(error.message, 'Error while buiding message data');
    const target = path.join(folder, 'never.eml');
    b.Write(target);
    assert.equal(fs.existsSync(target), false);
    const written = await new Promise((resolve) => b.WriteAsync(target, resolve));
    assert.equal(written.message, 'Error while reading message data');
    assert.equal(fs.existsSync(target), false);
  };
  await fails((b) => b.SetSignerCert('nobody@example.org'), 'Signing certificate not found: nobody@example.org');
  await fails((b) => b.SetSignerCert(file('alice.p12'), 'wrong'), `The signing certificate cannot be opened: ${file('alice.p12')}`);
  await fails((b) => b.SetSignerCert(pem('alice')), 'Private key of the signing certificate not found: PEM text');
  await fails((b) => b.SetSignerCert(pem('alice'), read('bob.key').toString()), 'The private key does not belong to the signing certificate');
  await fails((b) => b.SetRecipientsCerts([pem('bob'), 'nobody@example.org']), 'Recipient certificate not found: nobody@example.org');
});

test('SetRecipientsCerts: addresses are looked for among people, then among the own', () => {
  ownStore('alice');
  put('people/bob.pem', pem('bob'));
  const b = builder();
  b.SetRecipientsCerts(['alice@example.org', 'Bob <bob@example.org>']);
  const mail = Buffer.from(b.data);
  assert.equal(parse(mail).decryptResult, true);
  ownStore('bob');
  assert.equal(parse(mail).decryptResult, true);
});

test('the store: a change is seen by the next message', () => {
  ownStore();
  const b = builder();
  b.SetSignerCert(both('alice'));
  const mail = Buffer.from(b.data);
  assert.equal(parse(mail).verifyResult, true);
  emptyStore();
  assert.equal(parse(mail).verifyResult, false);
  put('trusted/ca.crt', pem('ca-rsa'));
  assert.equal(parse(mail).verifyResult, true);
});

test('a signer whose message carries no certificate is found in the store', () => {
  const content = 'Content-Type: text/plain\r\n\r\nx\r\n';
  const made = openssl(['cms', '-sign', '-binary', '-nocerts', '-signer', file('alice.crt'), '-inkey', file('alice.key')], content);
  ownStore();
  assert.equal(parse(made.out).verifyResult, false);
  assert.equal(parse(made.out).signerCertificate, undefined);
  put('people/alice.crt', pem('alice'));
  assert.equal(parse(made.out).verifyResult, true);
});

test('mails with LF line ends verify as they were signed', () => {
  ownStore();
  const b = builder();
  b.SetSignerCert(both('alice'));
  const mail = Buffer.from(b.data).toString('latin1').replace(/\r\n/g, '\n');
  assert.deepEqual(results(parse(Buffer.from(mail, 'latin1'))), { ...kPlain, isSigned: true, verifyResult: true });
});

test('message built twice without a change is signed both times', async () => {
  ownStore();
  const b = builder();
  b.SetSignerCert(both('alice'));
  const data = await new Promise((resolve, reject) => b.getDataAsync((error, bytes) => (error ? reject(error) : resolve(bytes))));
  assert.equal(parse(data).verifyResult, true);
  assert.equal(parse(b.data).verifyResult, true);
});

// Tricks that make a reader believe in a signature or give away a secret. Built here, step by step.
const signedBy = (name, entity) => openssl(['cms', '-sign', '-binary', '-signer', file(`${name}.crt`), '-inkey', file(`${name}.key`)], entity).out.toString('latin1');

test('spoofing: text before or after the signed part is no signed message', () => {
  ownStore();
  const signed = signedBy('alice', 'Content-Type: text/plain\r\n\r\nAll is well.\r\n').replace(/^MIME-Version.*\r?\n/, '');
  const mail = 'From: alice@example.org\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=outer\r\n\r\n' +
    '--outer\r\nContent-Type: text/plain\r\n\r\nPay the bill.\r\n--outer\r\n' + signed + '\r\n--outer--\r\n';
  const parser = parse(Buffer.from(mail, 'latin1'));
  assert.equal(parser.isSigned, false);
  assert.equal(parser.verifyResult, false);
  assert.match(parser.PlainTextRendering(), /Pay the bill/);
});

test('spoofing: a third part beside the signed one and its signature', () => {
  ownStore();
  const signed = signedBy('alice', 'Content-Type: text/plain\r\n\r\nAll is well.\r\n');
  const boundary = /boundary="([^"]+)"/.exec(signed)[1];
  const mail = signed.replace(`--${boundary}--`, `--${boundary}\r\nContent-Type: text/plain\r\n\r\nPay the bill.\r\n--${boundary}--`);
  const parser = parse(Buffer.from('From: alice@example.org\r\n' + mail, 'latin1'));
  assert.equal(parser.isSigned, true);
  assert.equal(parser.verifyResult, false);
  assert.equal(parse(Buffer.from('From: alice@example.org\r\n' + signed, 'latin1')).verifyResult, true);
});

test('spoofing: the signature of one message under the text of another', () => {
  ownStore();
  const one = signedBy('alice', 'Content-Type: text/plain\r\n\r\nAll is well.\r\n');
  const two = signedBy('bob', 'Content-Type: text/plain\r\n\r\nPay the bill.\r\n');
  const boundaryOf = (mail) => /boundary="([^"]+)"/.exec(mail)[1];
  const partsOf = (mail) => mail.split(`--${boundaryOf(mail)}`);
  const parts = partsOf(two);
  parts[2] = partsOf(one)[2];
  const parser = parse(Buffer.from(parts.join(`--${boundaryOf(two)}`), 'latin1'));
  assert.equal(parser.isSigned, true);
  assert.equal(parser.verifyResult, false);
});

test('exfiltration: an encrypted part beside other parts stays closed', () => {
  ownStore('bob');
  const b = builder();
  b.SetRecipientsCerts([pem('bob')]);
  const inner = Buffer.from(b.data).toString('latin1');
  const entity = inner.slice(inner.indexOf('Content-Type: application/pkcs7-mime'));
  const mail = 'From: eve@example.org\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=x\r\n\r\n' +
    '--x\r\nContent-Type: text/html\r\n\r\n<img src="http://127.0.0.1/?\r\n--x\r\n' + entity +
    '\r\n--x\r\nContent-Type: text/html\r\n\r\n">\r\n--x--\r\n';
  const parser = parse(Buffer.from(mail, 'latin1'));
  assert.deepEqual(results(parser), kPlain);
  for (const rendering of [parser.HtmlRendering(), parser.HtmlBodyRendering(), parser.PlainTextRendering(), parser.PlainTextBodyRendering()]) {
    assert.ok(!rendering.includes('4711'));
  }
  assert.ok(parser.attachments.some((part) => part.filename === 'smime.p7m'));
});

test('a great number of layers is not opened', () => {
  ownStore();
  let mail = 'Content-Type: text/plain\r\n\r\nAt the bottom.\r\n';
  const wrap = (times) => {
    for (let i = 0; i < times; ++i) {
      mail = openssl(['cms', '-sign', '-nodetach', '-nocerts', '-noattr', '-binary', '-signer', file('bob.crt'), '-inkey', file('bob.key')], mail).out;
    }
  };
  put('people/bob.pem', pem('bob'));
  wrap(10);
  assert.equal(parse(mail).verifyResult, true);
  wrap(1);
  const parser = parse(mail);
  assert.equal(parser.isSigned, true);
  assert.equal(parser.verifyResult, false);
});

test('the collected mails read as their list says', () => {
  const corpus = process.env.BRENNOX_SMIME_MAILS ?? path.join(fixtures, 'smime');
  const lines = fs.readFileSync(path.join(corpus, 'cases.txt'), 'utf8').split('\n').filter((line) => line && !line.startsWith('#'));
  assert.ok(lines.length > 50);
  for (const line of lines) {
    const [name, keys, anchor, signed, encrypted, verified, decrypted, has, hasNot] = line.split(' | ');
    if (!hasGost && /g256|g512|grigory|galina|tc26|hostile/.test(line)) continue;
    emptyStore();
    for (const key of keys === '-' ? [] : keys.split(',')) {
      put(`my/${key}.crt`, fs.readFileSync(path.join(corpus, 'keys', `${key}.crt`)));
      put(`my/${key}.key`, fs.readFileSync(path.join(corpus, 'keys', `${key}.key`)));
    }
    if (anchor !== '-') put('trusted/anchor.crt', fs.readFileSync(path.join(corpus, 'keys', `${anchor}.crt`)));
    const parser = new MessageParser();
    parser.Read(path.join(corpus, name));
    const check = (wish, value, what) => wish === '-' || assert.equal(value ? 'yes' : 'no', wish, `${name}: ${what}`);
    check(signed, parser.isSigned, 'isSigned');
    check(encrypted, parser.isEncrypted, 'isEncrypted');
    check(verified, parser.verifyResult, 'verifyResult');
    check(decrypted, parser.decryptResult, 'decryptResult');
    const shown = parser.PlainTextRendering() + parser.HtmlRendering();
    if (has !== '-') assert.ok(shown.includes(has), `${name}: ${has}`);
    if (hasNot !== '-') assert.ok(!shown.includes(hasNot), `${name}: not ${hasNot}`);
  }
});

test('many imports at once, each with its own result', async () => {
  ownStore('bob');
  const b = builder();
  b.SetSignerCert(both('alice'));
  b.SetRecipientsCerts([pem('bob')]);
  const mail = Buffer.from(b.data);
  await Promise.all(Array.from({ length: 32 }, () => new Promise((resolve, reject) => {
    const parser = new MessageParser();
    parser.ImportAsync(mail, (error) => {
      if (error) return reject(error);
      try {
        assert.equal(parser.verifyResult, true);
        assert.equal(parser.decryptResult, true);
        resolve();
      } catch (failure) {
        reject(failure);
      }
    });
  })));
});

// Nanoseconds of processor time of each thread but this one.
function timesOfOthers() {
  return new Map(fs.readdirSync('/proc/self/task').filter((thread) => thread !== String(process.pid))
    .map((thread) => [thread, Number(fs.readFileSync(`/proc/self/task/${thread}/schedstat`, 'latin1').split(' ')[0])]));
}

const noThreadTimes = process.platform === 'linux' && fs.existsSync('/proc/self/schedstat') ? false : 'the kernel does not count the time of threads';
test('imports are spread over the worker threads', { skip: noThreadTimes }, async () => {
  ownStore();
  const b = builder();
  b.addAttachments([new Attachment(crypto.randomBytes(3 << 20), 'large.bin')]);
  b.SetSignerCert(both('alice'));
  const mail = Buffer.from(b.data);
  const one = (parser) => new Promise((resolve, reject) => parser.ImportAsync(mail, (error) => (error ? reject(error) : resolve())));
  await one(new MessageParser());
  const before = timesOfOthers();
  const parsers = Array.from({ length: 32 }, () => new MessageParser());
  await Promise.all(parsers.map(one));
  assert.ok(parsers.every((parser) => parser.verifyResult));
  // A mail takes several milliseconds of hashing.
  const busy = [...timesOfOthers()].filter(([thread, time]) => time - (before.get(thread) ?? 0) > 2e6);
  assert.ok(busy.length >= 2, `${busy.length} threads were busy`);
});

test('nothing is written to the temp folder: it need not even exist', () => {
  ownStore('bob');
  const temp = path.join(folder, 'temp');
  fs.mkdirSync(temp);
  for (const name of [temp, path.join(temp, 'missing')]) {
    const b = builder();
    b.SetTempFolder(name);
    b.addAttachments([new Attachment(crypto.randomBytes(3 << 20), 'large.bin')]);
    b.SetSignerCert(both('alice'));
    b.SetRecipientsCerts([pem('bob')]);
    const before = fs.statSync(temp).mtimeMs;
    const parser = new MessageParser();
    parser.SetTempFolder(name);
    parser.Import(Buffer.from(b.data));
    assert.equal(parser.decryptResult, true);
    assert.deepEqual(fs.readdirSync(temp), []);
    assert.equal(fs.statSync(temp).mtimeMs, before);
  }
});

const noPeaks = /asan/.test(process.env.LD_PRELOAD ?? '') ? 'the sanitizer keeps freed memory'
  : fs.existsSync('/proc/self/clear_refs') ? false : 'the kernel does not tell the peak';
test('large mails take memory near their size', { skip: noPeaks }, () => {
  ownStore('alice');
  // How far the memory rises above what it was, in times of `size`.
  const rise = (size, work) => {
    const read = (name) => Number(new RegExp(`${name}:\\s+(\\d+)`).exec(fs.readFileSync('/proc/self/status', 'latin1'))[1]) * 1024;
    fs.writeFileSync('/proc/self/clear_refs', '5');
    const before = read('VmRSS');
    work();
    return (read('VmHWM') - before) / size;
  };
  const name = path.join(folder, 'large.eml');
  const size = 64 << 20;
  for (const [isEncrypted, limit] of [[false, 1.25], [true, 2]]) {
    const b = builder({ from: 'alice@example.org' });
    b.addAttachments([new Attachment(crypto.randomBytes((size / (isEncrypted ? 78 * 78 : 78)) * (isEncrypted ? 57 * 57 : 57) | 0), 'large.bin')]);
    b.SetSignerCert(both('alice'));
    if (isEncrypted) b.SetRecipientsCerts([pem('alice')]);
    const building = rise(size, () => b.Write(name));
    assert.ok(Math.abs(fs.statSync(name).size - size) < size / 50, 'the mail has the size');
    const parser = new MessageParser();
    const reading = rise(size, () => parser.Read(name));
    assert.equal(parser.verifyResult, true);
    assert.equal(parser.decryptResult, isEncrypted);
    assert.ok(building < limit, `building: ${building}`);
    assert.ok(reading < limit, `reading: ${reading}`);
  }
  fs.rmSync(name);
});
