// Real mail servers for a test: started in another process, because the calls under test may block this one.
//
//   const { startServers, reasonToSkip } = require('./harness.js');
//   test('...', { skip: reasonToSkip({ dovecot: true }) }, async (t) => {
//     const servers = await startServers({ dovecot: true });
//     t.after(() => servers.stop());
//     servers.ports.imap, servers.users['alice@example.test'], servers.ca ...
//   });
//
// Options: dovecot (imap imaps pop3 pop3s lmtp), postfix (smtp submission smtps smtpNoTls smtpNoAuth;
// brings dovecot, where it delivers to), old (oldImap oldImaps oldPop3 oldPop3s: INBOX. prefix, dots,
// plain passwords, self-signed certificate), kerberos (a realm in which dovecot takes tickets; `kerberos` is the
// environment that leads to it), cyrus (cyrus: any password), badtls (expired_imaps, wronghost_pop3s,
// selfsigned_smtps ..., silent, garbage). `ports.refused` is always a port that nobody listens on.
'use strict';

const { spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const start = require('./start.js');

function kindsOf(options) {
  const kinds = Object.keys(options).filter((kind) => options[kind]);
  if ((kinds.includes('postfix') || kinds.includes('kerberos')) && !kinds.includes('dovecot')) kinds.unshift('dovecot');
  return kinds;
}

// False, or the text for node:test's `skip`.
function reasonToSkip(options = { dovecot: true, postfix: true }) {
  return start.reasonToSkip(kindsOf(options)) ?? false;
}

// Starts a program that prints one line of JSON when it is ready and ends when its input does.
async function startProgram(file, args, { env = process.env } = {}) {
  const child = spawn(process.execPath, [file, ...args], { stdio: ['pipe', 'pipe', 'pipe'], env });
  let errors = '';
  child.stderr.on('data', (bytes) => { errors += bytes; });
  child.stdin.on('error', () => {});
  const exited = new Promise((resolve) => child.once('exit', resolve));
  const line = await new Promise((resolve, reject) => {
    let text = '';
    child.once('error', reject);
    exited.then(() => reject(new Error(`${path.basename(file)} ended before it was ready: ${errors}${text}`)));
    child.stdout.on('data', (bytes) => {
      text += bytes;
      if (text.includes('\n')) resolve(text.slice(0, text.indexOf('\n')));
    });
  });
  // A test that forgets to stop it must not hang for it.
  child.unref();
  for (const stream of [child.stdin, child.stdout, child.stderr]) stream.unref();
  return {
    info: JSON.parse(line),
    child,
    async stop() {
      if (child.exitCode !== null || child.signalCode !== null) return;
      child.ref();
      child.stdin.end();
      await exited;
    },
  };
}

async function startServers(options = { dovecot: true, postfix: true }) {
  const { info, stop } = await startProgram(path.join(__dirname, 'start.js'), kindsOf(options));
  if (info.skip) throw new Error(info.skip);
  return { ...info, stop };
}

// The raw messages that lie in a user's INBOX, oldest first, lines ended by CRLF as on the wire (the
// servers store them with bare line feeds). `servers.mail` is the mailbox root.
function messagesInInbox(servers, user) {
  const files = [];
  for (const name of ['new', 'cur']) {
    const folder = path.join(servers.mail, user, 'inbox', name);
    if (!fs.existsSync(folder)) continue;
    for (const file of fs.readdirSync(folder)) {
      const full = path.join(folder, file);
      files.push({ full, time: fs.statSync(full).mtimeMs });
    }
  }
  files.sort((a, b) => a.time - b.time);
  return files.map(({ full }) =>
    Buffer.from(fs.readFileSync(full, 'latin1').replace(/\r?\n/g, '\r\n'), 'latin1'));
}

// Waits until one of the user's messages contains the text and returns it; rejects after the time-out.
async function waitForMessage(servers, user, text, timeout = 15000) {
  const end = Date.now() + timeout;
  for (;;) {
    const found = messagesInInbox(servers, user).find((bytes) => bytes.includes(text));
    if (found) return found;
    if (Date.now() > end) throw new Error(`no message with ${JSON.stringify(text)} reached ${user}`);
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
}

module.exports = { messagesInInbox, reasonToSkip, startProgram, startServers, waitForMessage };
