// Starts throw-away mail servers on loopback and prints where they are as one line of JSON.
//
//   node test/servers/start.js [dovecot] [postfix] [old] [kerberos] [badtls] [cyrus]     (without a word: dovecot postfix)
//
// They live in one temporary folder and end, by their recorded process ids, on SIGTERM, SIGINT or when
// standard input ends. When they cannot be started here the line is {"skip": "the reason"} and the exit
// code 77.
'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { badTlsPorts, startBadTls } = require('./badtls.js');
const { kSystemBundle, makeCertificates } = require('./certificates.js');
const { kCyrusPrograms, startCyrus } = require('./cyrus.js');
const { startDovecot } = require('./dovecot.js');
const { startKerberos } = require('./kerberos.js');
const { freePorts } = require('./ports.js');
const { startPostfix } = require('./postfix.js');

const kDomain = 'example.test';
const kNames = ['alice', 'bob', 'carol', 'dave', 'erin'];
// Mail to this one is taken and thrown away.
const kSink = `bulk@${kDomain}`;

const kPrograms = {
  dovecot: ['/usr/sbin/dovecot', '/usr/lib/dovecot/imap', '/usr/lib/dovecot/pop3', '/usr/lib/dovecot/lmtp'],
  old: ['/usr/sbin/dovecot', '/usr/lib/dovecot/imap', '/usr/lib/dovecot/pop3', '/usr/lib/dovecot/lmtp'],
  postfix: ['/usr/sbin/postfix'],
  kerberos: ['/usr/sbin/krb5kdc', '/usr/sbin/kdb5_util', '/usr/sbin/kadmin.local', '/usr/bin/kinit', '/usr/lib/dovecot/modules/auth/libmech_gssapi.so'],
  badtls: [],
  cyrus: kCyrusPrograms,
};

const kDovecotPorts = ['imap', 'imaps', 'pop3', 'pop3s', 'lmtp', 'auth'];
const kPostfixPorts = ['smtp', 'submission', 'smtps', 'smtpNoTls', 'smtpNoAuth'];
const kOldPorts = ['oldImap', 'oldImaps', 'oldPop3', 'oldPop3s', 'oldLmtp', 'oldAuth'];

// Null, or why the servers cannot be started here.
function reasonToSkip(kinds) {
  if (process.getuid?.() !== 0) return 'real mail servers need root to drop to their own users';
  const programs = ['/usr/bin/openssl', ...kinds.flatMap((kind) => kPrograms[kind])];
  const missing = [...new Set(programs)].filter((file) => !fs.existsSync(file));
  const where = kinds.includes('cyrus') ? 'scripts/unpack-cyrus' : 'scripts/packages/test.txt';
  return missing.length ? `not installed: ${missing.join(', ')} (see ${where})` : null;
}

// Unix sockets have to fit into 108 characters, so the folder's own path is kept short.
function makeFolder() {
  const base = os.tmpdir().length <= 40 ? os.tmpdir() : '/tmp';
  const folder = fs.mkdtempSync(path.join(base, 'mail-'));
  fs.chmodSync(folder, 0o755);
  return folder;
}

// The process and, where it is one, what it has started below itself are gone when this returns.
async function stopProcess(pid) {
  const running = () => {
    try {
      process.kill(pid, 0);
      return true;
    } catch {
      return false;
    }
  };
  try {
    process.kill(pid, 'SIGTERM');
  } catch {
    return;
  }
  for (let i = 0; i < 100 && running(); i++) await new Promise((resolve) => setTimeout(resolve, 50));
  if (running()) process.kill(pid, 'SIGKILL');
}

async function start(kinds) {
  const wanted = new Set(kinds);
  if (wanted.has('postfix') || wanted.has('kerberos')) wanted.add('dovecot');
  const folder = makeFolder();
  const pids = [];
  let kerberos;
  const stop = async () => {
    for (const pid of pids.reverse()) await stopProcess(pid);
    fs.rmSync(folder, { recursive: true, force: true, maxRetries: 5, retryDelay: 100 });
  };
  try {
    const tls = path.join(folder, 'tls');
    makeCertificates(tls);
    const all = await freePorts([
      'refused', 'kerberos', 'cyrus', ...kDovecotPorts, ...kPostfixPorts, ...kOldPorts, ...badTlsPorts,
    ]);

    const users = {};
    const tokens = {};
    for (const name of kNames) {
      users[`${name}@${kDomain}`] = `pw-${name}`;
      tokens[`${name}@${kDomain}`] = `token-${name}`;
    }
    const international = `юзер@${kDomain}`;
    users[international] = 'пароль';
    const quoted = `quoted@${kDomain}`;
    users[quoted] = 'a"b\\c d%e';
    const mail = path.join(folder, 'd/mail');
    const ports = { refused: all.refused };
    const publish = (names) => names.forEach((name) => { ports[name] = all[name]; });

    if (wanted.has('kerberos')) {
      const place = path.join(folder, 'k');
      fs.mkdirSync(place);
      const named = Object.fromEntries(kNames.map((name) => [`${name}@${kDomain}`, users[`${name}@${kDomain}`]]));
      kerberos = await startKerberos({ folder: place, port: all.kerberos, users: named });
      pids.push(kerberos.pid);
    }
    if (wanted.has('dovecot')) {
      const place = path.join(folder, 'd');
      fs.mkdirSync(place);
      pids.push(await startDovecot({ folder: place, flavour: 'modern', ports: all, tls, users, tokens, kerberos }));
      publish(kDovecotPorts);
    }
    if (wanted.has('old')) {
      const place = path.join(folder, 'o');
      fs.mkdirSync(place);
      const own = Object.fromEntries(kDovecotPorts.map((name, i) => [name, all[kOldPorts[i]]]));
      pids.push(await startDovecot({ folder: place, flavour: 'old', ports: own, tls, users, tokens }));
      publish(kOldPorts);
    }
    if (wanted.has('postfix')) {
      const place = path.join(folder, 'p');
      fs.mkdirSync(place);
      const mailboxes = Object.keys(users);
      pids.push(await startPostfix({ folder: place, ports: all, tls, mailboxes, mail, sink: kSink }));
      publish(kPostfixPorts);
    }
    if (wanted.has('cyrus')) {
      const place = path.join(folder, 'c');
      fs.mkdirSync(place);
      pids.push(await startCyrus({ folder: place, port: all.cyrus }));
      publish(['cyrus']);
    }
    if (wanted.has('badtls')) {
      await startBadTls({ ports: all, tls });
      publish(badTlsPorts);
    }
    const info = {
      host: '127.0.0.1', domain: kDomain, folder, ports, users, tokens, international, quoted, sink: kSink,
      mail: wanted.has('dovecot') ? mail : undefined,
      oldMail: wanted.has('old') ? path.join(folder, 'o/mail') : undefined,
      kerberos: kerberos?.env,
      tls, ca: path.join(tls, 'ca.pem'), bundle: path.join(tls, 'bundle.pem'), systemBundle: kSystemBundle,
      pids,
    };
    return { info, stop };
  } catch (error) {
    await stop();
    throw error;
  }
}

async function main() {
  const kinds = process.argv.slice(2);
  if (kinds.length === 0) kinds.push('dovecot', 'postfix');
  const unknown = kinds.filter((kind) => !(kind in kPrograms));
  if (unknown.length) {
    console.error(`unknown: ${unknown.join(' ')}; known: ${Object.keys(kPrograms).join(' ')}`);
    process.exit(2);
  }
  if ((kinds.includes('postfix') || kinds.includes('kerberos')) && !kinds.includes('dovecot')) kinds.push('dovecot');
  const skip = reasonToSkip(kinds);
  if (skip) {
    console.log(JSON.stringify({ skip }));
    process.exitCode = 77;
    return;
  }
  // Whoever asks for the end while the servers are still coming up gets it when they are up.
  let end;
  const ended = new Promise((resolve) => { end = resolve; });
  for (const signal of ['SIGTERM', 'SIGINT', 'SIGHUP']) process.on(signal, end);
  process.stdin.on('end', end).on('error', end).resume();
  process.stdout.on('error', end);

  const { info, stop } = await start(kinds);
  console.log(JSON.stringify(info));
  await ended;
  await stop();
  process.exit(0);
}

module.exports = { reasonToSkip };

if (require.main === module) {
  main().catch((error) => {
    console.error(error.message);
    process.exit(1);
  });
}
