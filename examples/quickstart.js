'use strict';
// The main job, step by step, against a real mail server of its own on this machine. See scripts/quickstart.

const { execFileSync, spawn } = require('node:child_process');
const { X509Certificate } = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const zlib = require('node:zlib');

// The store of certificates belongs to the user; this run brings a throwaway one of its own. It is set
// before the module is loaded.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quickstart-'));
process.env.XDG_DATA_HOME = path.join(folder, 'data');
const store = path.join(process.env.XDG_DATA_HOME, 'velkor_brennox2', 'certs');

const { Attachment, IMAPSession, ISMTPAsyncSession, MessageBuilder, MessageHeader, MessageParser, POPSession } =
  require('..');
const { ConnectionType } = require('../constants');

const kAlice = 'alice@example.test';
const kBob = 'bob@example.test';

let steps = 0;
function step(text) {
  steps += 1;
  const line = `${steps}. ${text}`;
  console.log(process.stdout.isTTY ? `\n\x1b[1m${line}\x1b[0m` : `\n${line}`);
}

function show(text) {
  console.log(text.replace(/\s+$/, '').replace(/^/gm, '   '));
}

function expect(condition, text) {
  if (!condition) throw new Error(text);
  show(`ok: ${text}`);
}

// The header of a message and the first lines of its body, as on the wire.
function excerpt(message, bodyLines) {
  const lines = message.toString('utf8').split('\r\n');
  const end = lines.indexOf('') + 1 + bodyLines;
  return lines.slice(0, end).concat(lines.length > end ? [`... (${message.length} bytes in all)`] : []).join('\n');
}

// A picture of one colour running into another.
function png(width, height) {
  const table = Uint32Array.from({ length: 256 }, (_, n) => {
    let c = n;
    for (let k = 0; k < 8; k++) c = c & 1 ? (c >>> 1) ^ 0xedb88320 : c >>> 1;
    return c;
  });
  const chunk = (type, data) => {
    const body = Buffer.concat([Buffer.from(type, 'latin1'), data]);
    const crc = body.reduce((c, byte) => (c >>> 8) ^ table[(c ^ byte) & 255], 0xffffffff) ^ 0xffffffff;
    const result = Buffer.alloc(body.length + 8);
    result.writeUInt32BE(data.length, 0);
    body.copy(result, 4);
    result.writeUInt32BE(crc >>> 0, body.length + 4);
    return result;
  };
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header.set([8, 2], 8);
  const row = Buffer.from([0, ...Array.from({ length: width }, (_, x) => [40, 90 + Math.round((x * 150) / width), 200]).flat()]);
  return Buffer.concat([
    Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]), chunk('IHDR', header),
    chunk('IDAT', zlib.deflateSync(Buffer.concat(Array(height).fill(row)))), chunk('IEND', Buffer.alloc(0)),
  ]);
}

// The servers run in a process of their own, which ends them when its input ends. They have to be started
// by root, since each of them changes to a user of its own.
async function startServers() {
  const command = [process.execPath, path.join(__dirname, '../test/servers/start.js'), 'dovecot', 'postfix'];
  if (process.getuid?.() !== 0) command.unshift('sudo');
  const child = spawn(command[0], command.slice(1), { stdio: ['pipe', 'pipe', 'inherit'] });
  const ended = new Promise((resolve) => child.once('exit', resolve));
  const line = await new Promise((resolve, reject) => {
    let text = '';
    child.stdout.on('data', (bytes) => {
      text += bytes;
      if (text.includes('\n')) resolve(text);
    });
    child.once('error', reject);
    ended.then(() => reject(new Error(`the mail servers did not start ${text}`)));
  });
  const info = JSON.parse(line);
  if (info.skip) throw new Error(info.skip);
  return {
    ...info,
    async stop() {
      child.stdin.end();
      await ended;
    },
  };
}

// A certificate authority for this run and one certificate for each of the two.
function makeCertificates() {
  for (const name of ['my', 'people', 'trusted']) fs.mkdirSync(path.join(store, name), { recursive: true, mode: 0o700 });
  const openssl = (...args) => execFileSync('openssl', args, { cwd: folder, stdio: ['ignore', 'ignore', 'pipe'] });
  const key = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes'];
  openssl('req', '-x509', ...key, '-days', '2', '-subj', '/CN=Quickstart CA', '-keyout', 'ca.key', '-out', 'ca.pem');
  fs.copyFileSync(path.join(folder, 'ca.pem'), path.join(store, 'trusted', 'ca.pem'));
  for (const address of [kAlice, kBob]) {
    const name = address.split('@')[0];
    openssl('req', ...key, '-subj', `/CN=${name}`, '-keyout', `${name}.key`, '-out', `${name}.csr`);
    fs.writeFileSync(path.join(folder, `${name}.ext`),
      `subjectAltName=email:${address}\nkeyUsage=digitalSignature,keyAgreement\nextendedKeyUsage=emailProtection\n`);
    openssl('x509', '-req', '-in', `${name}.csr`, '-CA', 'ca.pem', '-CAkey', 'ca.key', '-CAcreateserial', '-days', '1',
      '-extfile', `${name}.ext`, '-out', `${name}.crt`);
    const pem = ['crt', 'key'].map((end) => fs.readFileSync(path.join(folder, `${name}.${end}`), 'latin1')).join('');
    fs.writeFileSync(path.join(store, 'my', `${name}.pem`), pem, { mode: 0o600 });
  }
}

function buildMail() {
  const header = new MessageHeader();
  header.from = kAlice;
  header.to = [kBob];
  header.subject = 'Отчёт за ноябрь — с графиком 📈';
  header.userAgent = 'quickstart';

  const logo = new Attachment(png(240, 40), 'график.png');
  logo.contentID = 'chart@quickstart';

  const builder = new MessageBuilder();
  builder.header = header;
  builder.textBody = 'Здравствуйте!\n\nОтчёт и таблица — в приложении.\n\n-- \nАлиса\n';
  builder.htmlBody = '<p>Здравствуйте!</p><p><img src="cid:chart@quickstart" alt="график"></p>' +
    '<p>Отчёт и таблица — в приложении.</p><p>Алиса</p>';
  builder.addRelatedAttachments([logo]);
  builder.addAttachments([
    new Attachment(Buffer.from('%PDF-1.4\n%âãÏÓ\n', 'latin1'), 'отчёт за ноябрь.pdf'),
    new Attachment(Buffer.from('месяц;сумма\r\nноябрь;42\r\n'), '表.csv'),
  ]);
  return builder;
}

function send(servers, message) {
  const session = new ISMTPAsyncSession();
  session.hostname = servers.host;
  session.port = servers.ports.smtpNoTls;
  session.connectionType = ConnectionType.Clear;
  session.username = kAlice;
  session.password = servers.users[kAlice];
  return new Promise((resolve, reject) => {
    session.sendMessageOperation(kAlice, [kBob], message, 0, (error, code) => {
      if (error) reject(error);
      else resolve(code);
    });
  });
}

// The settings that both kinds of session share.
/** @template {IMAPSession | POPSession} T @param {T} session @returns {T} */
function account(session, servers, port) {
  session.hostname = servers.host;
  session.port = port;
  session.connectionType = ConnectionType.Clear;
  session.username = kBob;
  session.password = servers.users[kBob];
  return session;
}

// Delivery takes a moment.
/** @param {IMAPSession} imap @param {number} count */
async function arrived(imap, count) {
  for (const end = Date.now() + 60000; Date.now() < end;) {
    const messages = imap.fetchMessagesByUID('INBOX');
    if (messages.length >= count) return messages;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  throw new Error('the mail did not arrive');
}

/** @param {import('..').Data | undefined} data */
function bytesOf(data) {
  if (data === undefined) throw new Error('the message has gone');
  return data.bytes();
}

/** @param {Attachment[]} attachments */
function list(attachments) {
  return attachments.map((a) => `${a.filename} (${a.mimeType}, ${a.data?.length} bytes)`).join('\n');
}

async function run() {
  step('A real SMTP, IMAP and POP3 server starts on this machine, in a temporary folder');
  const servers = await startServers();
  try {
    show(`SMTP port ${servers.ports.smtpNoTls}, IMAP port ${servers.ports.imap}, POP3 port ${servers.ports.pop3}, ` +
      `accounts ${kAlice} and ${kBob}`);

    step('Alice builds a mail: UTF-8 header, plain and HTML body, a picture in it, two attachments');
    const builder = buildMail();
    const message = builder.data;
    show(excerpt(message, 12));

    step('She sends it with sendMessageOperation');
    const code = await send(servers, message);
    expect(code === 0, `the server took it (code ${code})`);

    step('Bob reads it over IMAP, as it arrived in the mailbox');
    const imap = account(new IMAPSession(), servers, servers.ports.imap);
    const [first] = await arrived(imap, 1);
    show(`folders: ${imap.fetchAllFolders().map((one) => one.path).join(', ')}`);
    const received = bytesOf(imap.fetchMessageByUID('INBOX', first.uid));
    show(`UID ${first.uid}, ${first.size} bytes\n\n${excerpt(received, 12)}`);

    step('It is parsed and rendered');
    const parser = new MessageParser();
    parser.Import(received);
    show(`From:    ${parser.header.from}\nTo:      ${parser.header.to.join(', ')}\nSubject: ${parser.header.subject}\n\n` +
      `${parser.PlainTextBodyRendering()}\n\nattachments:\n${list(parser.attachments)}\n\n` +
      `inside the HTML body:\n${list(parser.htmlInlineAttachments)}`);
    expect(parser.header.subject === builder.header?.subject, 'the subject is what Alice wrote');
    expect(parser.attachments[0].filename === 'отчёт за ноябрь.pdf', 'so is the file name');
    expect(parser.attachments[1].decodedString.includes('ноябрь;42'), 'and the table');

    step('Alice signs a second mail and encrypts it for Bob, with certificates made for this run');
    makeCertificates();
    const secret = buildMail();
    secret.SetSignerCert(kAlice);
    secret.SetRecipientsCerts([kBob]);
    const sealed = secret.data;
    show(excerpt(sealed, 3));
    expect(!sealed.includes('Отчёт'), 'nothing of the text can be read on its way');
    const sealedCode = await send(servers, sealed);
    expect(sealedCode === 0, `the server took it (code ${sealedCode})`);
    await arrived(imap, 2);
    imap.disconnect();

    step('Bob fetches it over POP3, decrypts it and checks the signature');
    const pop = account(new POPSession(), servers, servers.ports.pop3);
    const listing = pop.fetchMessages();
    const fetched = bytesOf(pop.fetchMessage(listing[listing.length - 1]));
    pop.disconnect();
    const opened = new MessageParser();
    opened.Import(fetched);
    show(opened.PlainTextBodyRendering());
    expect(opened.isEncrypted && opened.decryptResult, 'it was encrypted and is decrypted');
    expect(opened.isSigned && opened.verifyResult, 'it is signed and the signature is good');
    const { extendedSignInfo: signature, signerCertificate } = opened;
    if (!signature || !signerCertificate) throw new Error('the signature says nothing of its signer');
    const signer = new X509Certificate(signerCertificate);
    show(`signed by ${signer.subjectAltName} with ${signature.signAlg} and ${signature.hashAlg} on ${signature.creationDate}`);
    expect(opened.attachments.length === 2, `both attachments are there:\n${list(opened.attachments)}`);

    step('The mail as a page for a browser');
    const page = path.join(__dirname, '../build/quickstart.html');
    fs.mkdirSync(path.dirname(page), { recursive: true });
    fs.writeFileSync(page, `<!doctype html><meta charset="utf-8"><title>Quickstart</title>${opened.HtmlRendering()}`);
    show(page);
  } finally {
    await servers.stop();
  }
}

run().then(
  () => console.log('\nAll done. The servers are stopped and the temporary files are gone.'),
  (error) => {
    console.error(`\nFAILED: ${error.stack}`);
    process.exitCode = 1;
  },
).finally(() => fs.rmSync(folder, { recursive: true, force: true }));
