// S/MIME: a mail of 10 MiB signed, verified, encrypted and decrypted through the script API. Needs the packages
// of `npm ci` in this folder. The contenders do not all do the same:
//
//   openssl      a C program that does the CMS alone, from bytes in memory to bytes in memory
//   module       from an attachment to the mail, and from the mail to the verdict
//   module+      the same, with the attachment read out of what was verified or decrypted
//   pkijs, forge the CMS alone, as openssl
//   pkijs opaque the same with the content inside the CMS, the form that pkijs makes unless told otherwise
//   pkijs+       pkijs from an attachment to a mail and back, as the module: what lies around the CMS is plain
//                Buffer code
//
// All use RSA 2048 with SHA-256 and AES-256-CBC. Then 32 imports of a signed mail at once.
'use strict';

const { execFileSync } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');

const { buildPrograms, compare } = require('./lib.js');
const { folder, pem, both, read, file, openssl, ownStore } = require('../test/module/smime_people.js');
const { Attachment, MessageBuilder, MessageHeader, MessageParser } = require('../test/module/load.js');

const kMailSize = 10 * 1024 * 1024;

// An attachment that makes a mail of kMailSize: 57 bytes become a line of 78.
const attached = crypto.randomBytes(Math.floor(kMailSize / 78) * 57);
const attachment = new Attachment(attached, 'random.bin');

function build(prepare, content = attachment) {
  const header = new MessageHeader();
  header.from = 'alice@example.org';
  header.to = ['alice@example.org'];
  const builder = new MessageBuilder();
  builder.header = header;
  builder.addAttachments([content]);
  prepare(builder);
  return builder.data;
}

// Gives the memory back at the end, as the C program does.
function open(mail, result, use = () => {}) {
  const parser = new MessageParser();
  parser.Import(mail);
  if (parser[result] !== true) throw new Error(`${result} is ${parser[result]}`);
  use(parser);
  parser.clear();
}

function check(bytes) {
  if (bytes.length !== attached.length) throw new Error(`an attachment of ${bytes.length} bytes`);
}

const openWhole = (mail, result) => open(mail, result, (parser) => check(parser.attachments[0].data));

const bufferOf = (bytes) => bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length);

async function pkijsOf() {
  const pkijs = await import('pkijs');
  const asn1js = await import('asn1js');
  pkijs.setEngine('node', new pkijs.CryptoEngine({ name: 'node', crypto: crypto.webcrypto }));
  const der = Buffer.from(pem('alice').replace(/-----[^-]+-----|\s/g, ''), 'base64');
  const certificate = pkijs.Certificate.fromBER(bufferOf(der));
  const pkcs8 = crypto.createPrivateKey(read('alice.key')).export({ type: 'pkcs8', format: 'der' });
  const signingKey = await crypto.webcrypto.subtle.importKey('pkcs8', pkcs8, { name: 'RSASSA-PKCS1-v1_5', hash: 'SHA-256' }, false, ['sign']);
  const wrap = (type, schema) => new pkijs.ContentInfo({ contentType: type, content: schema }).toSchema().toBER(false);
  const unwrap = (ber) => pkijs.ContentInfo.fromBER(bufferOf(Buffer.from(ber))).content;

  const sign = async (content, { opaque = false } = {}) => {
    const data = bufferOf(content);
    const digest = await crypto.webcrypto.subtle.digest('SHA-256', data);
    const attribute = (type, value) => new pkijs.Attribute({ type, values: [value] });
    const signed = new pkijs.SignedData({
      version: 1,
      encapContentInfo: new pkijs.EncapsulatedContentInfo({ eContentType: '1.2.840.113549.1.7.1',
        ...(opaque && { eContent: new asn1js.OctetString({ valueHex: data }) }) }),
      signerInfos: [new pkijs.SignerInfo({
        version: 1,
        sid: new pkijs.IssuerAndSerialNumber({ issuer: certificate.issuer, serialNumber: certificate.serialNumber }),
        signedAttrs: new pkijs.SignedAndUnsignedAttributes({ type: 0, attributes: [
          attribute('1.2.840.113549.1.9.3', new asn1js.ObjectIdentifier({ value: '1.2.840.113549.1.7.1' })),
          attribute('1.2.840.113549.1.9.5', new asn1js.UTCTime({ valueDate: new Date() })),
          attribute('1.2.840.113549.1.9.4', new asn1js.OctetString({ valueHex: digest })),
        ] }),
      })],
      certificates: [certificate],
    });
    await signed.sign(signingKey, 0, 'SHA-256', data);
    return wrap('1.2.840.113549.1.7.2', signed.toSchema(true));
  };
  // Without `content` it is in the CMS.
  const verify = async (ber, content) => {
    const signed = new pkijs.SignedData({ schema: unwrap(ber) });
    const detached = content && { data: bufferOf(content) };
    if (await signed.verify({ signer: 0, checkChain: false, ...detached }) !== true) throw new Error('pkijs: verify');
  };
  const encrypt = async (content) => {
    const data = bufferOf(content);
    const enveloped = new pkijs.EnvelopedData();
    enveloped.addRecipientByCertificate(certificate, { oaepHashAlgorithm: 'SHA-256' });
    await enveloped.encrypt({ name: 'AES-CBC', length: 256 }, data);
    return wrap('1.2.840.113549.1.7.3', enveloped.toSchema());
  };
  const decrypt = async (ber) => {
    const enveloped = new pkijs.EnvelopedData({ schema: unwrap(ber) });
    return enveloped.decrypt(0, { recipientCertificate: certificate, recipientPrivateKey: bufferOf(pkcs8) });
  };
  return { sign, verify, encrypt, decrypt };
}

// The way of a script from an attachment to a signed or encrypted mail and back, in the plainest Buffer code that
// makes and reads the one shape of mail measured here: no mail library, nothing checked.
function mailsBy(pkijs) {
  const kCrLf = Buffer.from('\r\n');
  const fields = 'From: alice@example.org\r\nTo: alice@example.org\r\nMIME-Version: 1.0\r\n';
  const transferred = 'Content-Transfer-Encoding: base64\r\n\r\n';
  const lines = (bytes) => {
    const text = Buffer.from(bytes.toString('base64'), 'latin1');
    const wrapped = Buffer.allocUnsafe(text.length + 2 * Math.ceil(text.length / 76));
    let end = 0;
    for (let start = 0; start < text.length; start += 76) {
      end += text.copy(wrapped, end, start, start + 76);
      end += kCrLf.copy(wrapped, end);
    }
    return wrapped;
  };
  const entity = () => Buffer.concat([Buffer.from('Content-Type: application/octet-stream; name="random.bin"\r\n' +
    `Content-Disposition: attachment; filename="random.bin"\r\n${transferred}`), lines(attached)]);
  const bodyOf = (part) => Buffer.from(part.toString('latin1', part.indexOf('\r\n\r\n') + 4), 'base64');
  const read = (part) => check(bodyOf(part));

  return {
    sign: async () => {
      const content = entity();
      const signature = Buffer.from(await pkijs.sign(content));
      return Buffer.concat([
        Buffer.from(`${fields}Content-Type: multipart/signed; protocol="application/pkcs7-signature"; micalg=sha-256; ` +
          'boundary="b1"\r\n\r\n--b1\r\n'), content,
        Buffer.from(`\r\n--b1\r\nContent-Type: application/pkcs7-signature; name="smime.p7s"\r\n${transferred}`), lines(signature),
        Buffer.from('--b1--\r\n')]);
    },
    verify: async (mail) => {
      const boundary = `\r\n--${/boundary="([^"]+)"/.exec(mail.toString('latin1', 0, 4096))[1]}`;
      const start = mail.indexOf(boundary) + boundary.length + 2;
      const end = mail.indexOf(boundary, start);
      const signature = mail.subarray(end + boundary.length + 2, mail.indexOf(boundary, end + 1));
      const content = mail.subarray(start, end);
      await pkijs.verify(bodyOf(signature), content);
      read(content);
    },
    encrypt: async () => Buffer.concat([
      Buffer.from(`${fields}Content-Type: application/pkcs7-mime; smime-type=enveloped-data; name="smime.p7m"\r\n${transferred}`),
      lines(Buffer.from(await pkijs.encrypt(entity())))]),
    decrypt: async (mail) => read(Buffer.from(await pkijs.decrypt(bodyOf(mail)))),
  };
}

function forgeOf(content) {
  const forge = require('node-forge');
  const certificate = forge.pki.certificateFromPem(pem('alice'));
  const key = forge.pki.privateKeyFromPem(crypto.createPrivateKey(read('alice.key')).export({ type: 'pkcs1', format: 'pem' }));
  return {
    sign: () => {
      const signed = forge.pkcs7.createSignedData();
      signed.content = forge.util.createBuffer(content.toString('binary'));
      signed.addCertificate(certificate);
      signed.addSigner({ key, certificate, digestAlgorithm: forge.pki.oids.sha256, authenticatedAttributes: [
        { type: forge.pki.oids.contentType, value: forge.pki.oids.data },
        { type: forge.pki.oids.messageDigest },
        { type: forge.pki.oids.signingTime, value: new Date() },
      ] });
      signed.sign({ detached: true });
      return forge.asn1.toDer(signed.toAsn1()).getBytes();
    },
    encrypt: () => {
      const enveloped = forge.pkcs7.createEnvelopedData();
      enveloped.addRecipient(certificate);
      enveloped.content = forge.util.createBuffer(content.toString('binary'));
      enveloped.encrypt();
      return forge.asn1.toDer(enveloped.toAsn1()).getBytes();
    },
    decrypt: (der) => {
      const enveloped = forge.pkcs7.messageFromAsn1(forge.asn1.fromDer(der));
      enveloped.decrypt(enveloped.findRecipient(certificate), key);
    },
  };
}

async function main() {
  const [floor] = buildPrograms('smime_floor');
  ownStore('alice');
  const content = Buffer.from(build(() => {}));
  const contentFile = path.join(folder, 'content');
  fs.writeFileSync(contentFile, content);
  console.log(`mail of ${content.length} bytes`);
  const bare = (what, cms) => Number(execFileSync(floor,
    [what, contentFile, file('alice.crt'), file('alice.key'), '3', path.join(folder, cms)]).toString().trim().split('\n')
    .sort((a, b) => a - b)[1]);
  bare('sign', 'signed.der');
  bare('encrypt', 'encrypted.der');
  const pkijs = await pkijsOf();
  const mails = mailsBy(pkijs);
  const forge = forgeOf(content);
  const signer = both('alice');
  const recipient = pem('alice');
  const signedMail = Buffer.from(build((builder) => builder.SetSignerCert(signer)));
  const encryptedMail = Buffer.from(build((builder) => builder.SetRecipientsCerts([recipient])));
  const pkijsSigned = await pkijs.sign(content);
  const pkijsOpaque = await pkijs.sign(content, { opaque: true });
  // It reads RSA-OAEP only, and not what it writes of this length.
  const pkijsEncrypted = openssl(['cms', '-encrypt', '-binary', '-aes-256-cbc', '-in', contentFile, '-outform', 'DER', '-recip', file('alice.crt'),
    '-keyopt', 'rsa_padding_mode:oaep', '-keyopt', 'rsa_oaep_md:sha256', '-keyopt', 'rsa_mgf1_md:sha256']).out;
  const forgeEncrypted = forge.encrypt();

  const pkijsMail = Buffer.concat([Buffer.from('From: alice@example.org\r\nContent-Type: application/pkcs7-mime; name="smime.p7m"\r\n' +
    'Content-Transfer-Encoding: base64\r\n\r\n'), Buffer.from(pkijsEncrypted.toString('base64').replace(/.{76}/g, '$&\r\n'))]);
  // Theirs are read here too: what is compared has to be right.
  open(await mails.sign(), 'verifyResult');
  open(await mails.encrypt(), 'decryptResult');

  const ratios = [];
  const row = async (title, contenders) => {
    const medians = await compare(title, contenders, { runs: 5 });
    ratios.push([title, medians.module / medians.openssl, medians.pkijs / medians.module, medians['pkijs opaque'] / medians.module,
      medians['pkijs+'] / (medians['module+'] ?? medians.module)]);
  };
  await row('sign', {
    openssl: () => bare('sign', 'signed.der'),
    module: () => void build((builder) => builder.SetSignerCert(signer)),
    pkijs: () => pkijs.sign(content).then(() => {}),
    'pkijs opaque': () => pkijs.sign(content, { opaque: true }).then(() => {}),
    'pkijs+': () => mails.sign().then(() => {}),
    forge: () => void forge.sign(),
  });
  await row('verify', {
    openssl: () => bare('verify', 'signed.der'),
    module: () => open(signedMail, 'verifyResult'),
    'module+': () => openWhole(signedMail, 'verifyResult'),
    pkijs: () => pkijs.verify(pkijsSigned, content),
    'pkijs opaque': () => pkijs.verify(pkijsOpaque),
    'pkijs+': () => mails.verify(signedMail),
  });
  await row('encrypt', {
    openssl: () => bare('encrypt', 'encrypted.der'),
    module: () => void build((builder) => builder.SetRecipientsCerts([recipient])),
    pkijs: () => pkijs.encrypt(content).then(() => {}),
    'pkijs+': () => mails.encrypt().then(() => {}),
    forge: () => void forge.encrypt(),
  });
  await row('decrypt', {
    openssl: () => bare('decrypt', 'encrypted.der'),
    module: () => open(encryptedMail, 'decryptResult'),
    'module+': () => openWhole(encryptedMail, 'decryptResult'),
    pkijs: () => pkijs.decrypt(pkijsEncrypted).then(() => {}),
    'pkijs+': () => mails.decrypt(pkijsMail),
    forge: () => forge.decrypt(forgeEncrypted),
  });

  const kImports = 32;
  const smaller = new Attachment(crypto.randomBytes(1 << 20), 'smaller.bin');
  const smallerMail = Buffer.from(build((builder) => builder.SetSignerCert(signer), smaller));
  const importAll = (width) => new Promise((resolve, reject) => {
    let started = 0;
    let ended = 0;
    const next = () => {
      if (started === kImports) return;
      started++;
      const parser = new MessageParser();
      parser.ImportAsync(smallerMail, (error) => {
        if (error || !parser.verifyResult) return reject(error ?? new Error('not verified'));
        if (++ended === kImports) return resolve();
        next();
      });
    };
    for (let i = 0; i < width; i++) next();
  });
  // Processor time by wall time: how many processors a way of importing keeps busy.
  const busy = {};
  const counted = (name, work) => async () => {
    const [cpu, start] = [process.cpuUsage(), process.hrtime.bigint()];
    await work();
    const { user, system } = process.cpuUsage(cpu);
    (busy[name] ??= []).push(((user + system) * 1000) / Number(process.hrtime.bigint() - start));
  };
  const spread = await compare(`${kImports} imports of a signed mail of 1.4 MiB`, {
    'one after another': counted('one', () => importAll(1)),
    'all at once': counted('all', () => importAll(kImports)),
  }, { runs: 5 });
  const middle = (values) => values.sort((a, b) => a - b)[values.length >> 1].toFixed(2);

  console.log('\nratios: module / openssl (wanted at most 1.3), pkijs / module, pkijs opaque / module, pkijs+ / module+ (wanted at least 4)');
  for (const [title, ...values] of ratios) {
    console.log(`  ${title.padEnd(10)} ${values.map((value) => (Number.isNaN(value) ? '' : value.toFixed(2)).padStart(7)).join('')}`);
  }
  console.log(`  parallel imports: ${(spread['one after another'] / spread['all at once']).toFixed(2)} times as fast on ${require('node:os').cpus().length} processors, ` +
    `of which ${middle(busy.all)} were busy (${middle(busy.one)} one after another)`);
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
