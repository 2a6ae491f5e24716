// TLS servers of the openssl command with GOST certificates: what strict GOST mode is tried against.
'use strict';

const { execFileSync, spawn } = require('node:child_process');

const { freePort } = require('./ports.js');

// The cipher suites of strict mode, in OpenSSL's names.
const kSuites = [
  'GOST2012-KUZNYECHIK-KUZNYECHIKOMAC', 'GOST2012-MAGMA-MAGMAOMAC',
  'IANA-GOST2012-GOST8912-GOST8912', 'LEGACY-GOST2012-GOST8912-GOST8912',
];

function openssl(folder, ...args) {
  return execFileSync('openssl', args, { cwd: folder, encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe'] });
}

// False, or why GOST servers cannot be started here.
function reasonToSkipGost() {
  try {
    return openssl('/', 'engine', 'gost').includes('gost') ? false : 'the GOST engine does not load';
  } catch {
    return 'libengine-gost-openssl is not installed';
  }
}

// Writes gost256.pem, gost512.pem (key and certificate in one file, for localhost and 127.0.0.1, self-signed)
// and rsa.pem, which is of the ordinary kind. Returns the certificates' text, for a bundle.
function makeGostCertificates(folder) {
  const kinds = {
    gost256: ['-engine', 'gost', '-newkey', 'gost2012_256', '-pkeyopt', 'paramset:A'],
    gost512: ['-engine', 'gost', '-newkey', 'gost2012_512', '-pkeyopt', 'paramset:A'],
    rsa: ['-newkey', 'rsa:2048'],
  };
  return Object.entries(kinds).map(([name, options]) => {
    openssl(folder, 'req', '-x509', '-nodes', ...options, '-days', '3650', '-subj', `/CN=${name}`,
        '-addext', 'subjectAltName=DNS:localhost,IP:127.0.0.1', '-keyout', `${name}.key`, '-out', `${name}.crt`);
    const text = openssl(folder, 'x509', '-in', `${name}.crt`);
    return text;
  }).join('');
}

// What a client's line is answered with: text, or a function of the match.
const kReplies = [
  [/^EHLO/, '250 ready\r\n'], [/^(MAIL|RCPT)/, '250 fine\r\n'], [/^DATA/, '354 go on\r\n'], [/^\.\r?$/, '250 taken\r\n'],
  [/^QUIT/, '221 bye\r\n'],
];

// A mail server behind `openssl s_server` with the given options; it takes one connection after another. It speaks
// SMTP unless it is given another greeting and other replies.
// output() is what the command printed: the handshake's facts and what the client said.
async function startGostServer(folder, options, { greeting = '220 ready ESMTP\r\n', replies = kReplies } = {}) {
  const port = await freePort();
  const child = spawn('openssl', ['s_server', '-engine', 'gost', '-accept', `127.0.0.1:${port}`, ...options],
      { cwd: folder, stdio: ['pipe', 'pipe', 'pipe'] });
  let output = '';
  let unread = '';
  const exited = new Promise((resolve) => child.once('exit', resolve));
  let accept;
  const ready = new Promise((resolve, reject) => {
    accept = resolve;
    exited.then(() => reject(new Error(`openssl s_server ended: ${output}`)));
  });
  child.stderr.on('data', (bytes) => { output += bytes; });
  child.stdout.on('data', (bytes) => {
    output += bytes;
    unread += bytes;
    if (output.includes('ACCEPT')) accept();
    for (let at = unread.indexOf('\n'); at >= 0; at = unread.indexOf('\n')) {
      const line = unread.slice(0, at);
      unread = unread.slice(at + 1);
      // The command reads our replies as soon as it has a connection; the greeting must wait for it.
      if (/^CIPHER is /.test(line)) child.stdin.write(greeting);
      const row = replies.find(([pattern]) => pattern.test(line));
      if (row) child.stdin.write(typeof row[1] === 'function' ? row[1](row[0].exec(line)) : row[1]);
    }
  });
  await ready;
  return {
    port,
    output: () => output,
    suite: () => /^CIPHER is (\S+)/m.exec(output)?.[1] ?? null,
    async stop() {
      child.kill('SIGTERM');
      await exited;
    },
  };
}

module.exports = { kSuites, makeGostCertificates, reasonToSkipGost, startGostServer };
