// Sending 1,000 mails of 4 KiB to a local sink, one connection each, against a bare libcurl program and a
// sender from the registry; clear, and over TLS with the processor time each mail costs its sender. Then one
// mail of 20 MiB. Needs the packages of `npm ci` in this folder, and root for the TLS part.
'use strict';

const { execFileSync, spawn, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { buildPrograms, compare, kRoot, median } = require('./lib.js');
const { makeCertificates } = require('../test/servers/certificates.js');

const kCount = Number(process.env.COUNT ?? 1000);
const kAuthorities = '/etc/ssl/certs/ca-certificates.crt';
const kLine = `${'x'.repeat(70)}\r\n`;

function mailOf(bytes) {
  const head = 'From: <from@example.test>\r\nTo: <to@example.test>\r\nSubject: bench\r\n' +
      'Date: Sat, 21 Nov 2026 12:00:00 +0000\r\nMessage-ID: <bench@example.test>\r\n\r\n';
  return Buffer.from(head + kLine.repeat(Math.ceil((bytes - head.length) / kLine.length)));
}

// Runs the program that this process is again, trusting the sink's authority as the system's: libcurl reads
// the system's bundle, Node.js its own and what its environment names.
function trustAuthority(folder) {
  const command = path.join(kRoot, 'test/servers/private-ca.sh');
  const { status } = spawnSync(command, [path.join(folder, 'bundle.pem'), process.execPath, __filename], {
    stdio: 'inherit',
    env: { ...process.env, SINK_CERTIFICATES: folder, NODE_EXTRA_CA_CERTS: path.join(folder, 'ca.pem') },
  });
  return status;
}

async function startSink(program, folder) {
  const child = spawn(program, [path.join(folder, 'server.pem'), path.join(folder, 'server.key')], { stdio: ['pipe', 'pipe', 'inherit'] });
  const line = await new Promise((resolve) => child.stdout.once('data', (bytes) => resolve(String(bytes))));
  const [clear, tls] = line.trim().split(' ').map(Number);
  return { clear, tls, stop: () => child.stdin.end() };
}

async function main() {
  const folder = process.env.SINK_CERTIFICATES;
  if (!folder) {
    const made = fs.mkdtempSync(path.join(os.tmpdir(), 'bench-'));
    makeCertificates(made);
    process.exitCode = trustAuthority(made);
    fs.rmSync(made, { recursive: true });
    return;
  }
  const [floor, sinkProgram] = buildPrograms('send_floor', 'send_sink');
  const { ISMTPAsyncSession } = require('../test/module/load.js');
  const nodemailer = require('nodemailer');
  const sink = await startSink(sinkProgram, folder);

  const session = (port, connectionType) => Object.assign(new ISMTPAsyncSession(),
      { hostname: '127.0.0.1', port, connectionType, checkCertificateEnabled: true });
  const check = (code) => {
    if (code !== 0) throw new Error(`error code ${code}`);
  };
  const oneAsync = (port, type, mail) => new Promise((resolve) => {
    session(port, type).sendMessageOperation('from@example.test', ['to@example.test'], mail, 1, (error, code) => {
      check(error ?? code);
      resolve();
    });
  });

  // Wall-clock time of each contender; processor times of the sender gather in `used`.
  function contenders(port, secure, mail, count) {
    const type = secure ? 4 : 1;
    const used = {};
    const measured = (name, work) => async () => {
      const before = process.cpuUsage();
      const result = await work();
      const { user, system } = process.cpuUsage(before);
      (used[name] ??= []).push((user + system) / 1e3 / count);
      return result;
    };
    const withNodemailer = async (options) => {
      const transport = nodemailer.createTransport({ host: '127.0.0.1', port, secure, ignoreTLS: true, ...options });
      for (let i = 0; i < count; i++) {
        await transport.sendMail({ envelope: { from: 'from@example.test', to: ['to@example.test'] }, raw: mail });
      }
      transport.close();
    };
    const list = {
      'bare libcurl': () => {
        const url = `${secure ? 'smtps' : 'smtp'}://127.0.0.1:${port}`;
        const [took, cpu] = execFileSync(floor, [url, String(count)], { input: mail, encoding: 'utf8' }).split(' ').map(Number);
        (used['bare libcurl'] ??= []).push(cpu / count);
        return took;
      },
      'sendMessageOperation': measured('sendMessageOperation', async () => {
        for (let i = 0; i < count; i++) await oneAsync(port, type, mail);
      }),
      'sendMessage': measured('sendMessage', () => {
        for (let i = 0; i < count; i++) check(session(port, type).sendMessage(mail, 'from@example.test', ['to@example.test']));
      }),
      'nodemailer, not pooled': measured('nodemailer, not pooled', () => withNodemailer({})),
    };
    // The peer trusts what its runtime brings, read once a process. Like libcurl and this module it trusts the
    // system's authorities only if it is handed them, and reads them again for each connection.
    if (secure) {
      const name = 'nodemailer, system authorities';
      list[name] = measured(name, () => withNodemailer({ tls: { ca: fs.readFileSync(kAuthorities) } }));
    }
    return { list, used };
  }

  const small = mailOf(4096);
  const runs = Number(process.env.RUNS ?? 3);
  await compare(`${kCount} mails of 4 KiB, clear`, contenders(sink.clear, false, small, kCount).list, { runs });

  const tlsCount = Math.max(1, Math.round(kCount / 5));
  const { list, used } = contenders(sink.tls, true, small, tlsCount);
  await compare(`${tlsCount} mails of 4 KiB, TLS`, list, { runs });
  const cost = (name) => median(used[name]);
  console.log('processor time of the sender, each mail over TLS; beside nodemailer, and beside it with the same trust');
  for (const name of Object.keys(used)) {
    const ratios = ['nodemailer, not pooled', 'nodemailer, system authorities'].map((peer) => (cost(name) / cost(peer)).toFixed(2));
    console.log(`  ${name.padEnd(31)} ${cost(name).toFixed(2).padStart(10)} ms   ${ratios.join(' x   ')} x`);
  }

  await compare('one mail of 20 MiB, clear', contenders(sink.clear, false, mailOf(20 << 20), 1).list, { runs });
  sink.stop();
}

main();
