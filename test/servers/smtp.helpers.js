// What the SMTP tests share.
'use strict';

const { spawn } = require('node:child_process');
const path = require('node:path');

const { ISMTPAsyncSession } = require('../module/load.js');

const kFrom = 'bob@example.test';
const kTo = 'alice@example.test';

// A complete mail, so that no server adds anything below its own trace fields.
function mail(subject, body = 'body\r\n') {
  return `From: <${kFrom}>\r\nTo: <${kTo}>\r\nSubject: ${subject}\r\nDate: Sat, 21 Nov 2026 12:00:00 +0000\r\n` +
      `Message-ID: <${subject.replace(/\W/g, '.')}@example.test>\r\n\r\n${body}`;
}

function sessionTo(port, settings = {}) {
  return Object.assign(new ISMTPAsyncSession(), { hostname: '127.0.0.1', port, connectionType: 1 }, settings);
}

function sendAsync(session, message, from = kFrom, to = [kTo]) {
  return new Promise((resolve, reject) => {
    session.sendMessageOperation(from, to, message, 1, (error, code) => (error ? reject(error) : resolve(code)));
  });
}

// Runs the jobs of send.js behind the given command and resolves to their results.
function sendApart(command, jobs, env = {}) {
  return new Promise((resolve, reject) => {
    const [file, ...args] = [...command, process.execPath, path.join(__dirname, 'send.js')];
    const child = spawn(file, args, { stdio: ['pipe', 'pipe', 'pipe'], env: { ...process.env, ...env } });
    let output = '';
    let errors = '';
    child.stdout.on('data', (bytes) => { output += bytes; });
    child.stderr.on('data', (bytes) => { errors += bytes; });
    child.once('error', reject);
    child.once('close', (code) => {
      if (code === 0) resolve(JSON.parse(output));
      else reject(new Error(`sending ended with ${code}: ${errors}${output}`));
    });
    child.stdin.end(JSON.stringify(jobs));
  });
}

// The command that trusts the private authority of a bundle.
const trusting = (bundle) => [path.join(__dirname, 'private-ca.sh'), bundle];

module.exports = { kFrom, kTo, mail, sendApart, sendAsync, sessionTo, trusting };
