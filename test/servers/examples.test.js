// The examples do what they say.
'use strict';

const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { encodeFolderPath } = require('../../constants.js');
const { Data, IMAPSession } = require('../module/load.js');
const { readmeBlocks } = require('../module/support.js');
const { reasonToSkip, startServers, waitForMessage } = require('./harness.js');
const { trusting } = require('./smtp.helpers.js');

const kUser = 'alice@example.test';
const fileOf = (name) => path.join(__dirname, '../../examples', name);

test('the examples', { skip: reasonToSkip({ dovecot: true, old: true, postfix: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true, old: true, postfix: true });
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'sync-'));
  t.after(async () => {
    fs.rmSync(folder, { recursive: true });
    await servers.stop();
  });
  const run = (port, name, ...args) => execFileSync(process.execPath, [fileOf(name), ...args], {
    encoding: 'utf8',
    env: { ...process.env, IMAP_HOST: '127.0.0.1', IMAP_PORT: String(port), IMAP_CONNECTION: '1', IMAP_USER: kUser, IMAP_PASSWORD: servers.users[kUser] },
  });
  const sessionAt = (port) => Object.assign(new IMAPSession(), {
    hostname: '127.0.0.1', port, username: kUser, password: servers.users[kUser], connectionType: 1,
  });
  const mail = (i) => `Subject: =?utf-8?B?${Buffer.from(`Письмо ${i}`).toString('base64')}?=\r\n\r\nbody ${i}\r\n`;

  for (const [kind, port, name] of [['with QRESYNC', servers.ports.imap, 'Разное'], ['without', servers.ports.oldImap, 'INBOX.Разное']]) {
    await t.test(`sync-folder keeps files in step on a server ${kind}`, () => {
      const session = sessionAt(port);
      const wire = encodeFolderPath(name);
      assert.equal(session.createFolder(wire), 0);
      for (let i = 1; i <= 4; ++i) session.appendMessage(wire, new Data(Buffer.from(mail(i))), 0);
      const here = path.join(folder, kind.replace(' ', '-'));
      const files = () => fs.readdirSync(here).filter((file) => file.endsWith('.eml')).sort();
      assert.match(run(port, 'sync-folder.js', name, here), /^4 fetched, 0 removed, 0 changed, 4 here$/m);
      assert.equal(fs.readFileSync(path.join(here, '2.eml'), 'utf8'), mail(2));
      assert.match(run(port, 'sync-folder.js', name, here), /^0 fetched, 0 removed, \d changed, 4 here$/m);
      session.storeFlagsByUID(wire, 1, 0, 4);
      session.storeFlagsByUID(wire, 3, 0, 8);
      session.expunge(wire);
      session.appendMessage(wire, new Data(Buffer.from(mail(5))), 0);
      assert.match(run(port, 'sync-folder.js', name, here), /^1 fetched, 1 removed, \d changed, 4 here$/m);
      assert.deepEqual(files(), ['1.eml', '2.eml', '4.eml', '5.eml']);
      assert.equal(JSON.parse(fs.readFileSync(path.join(here, 'flags.json')))[1] & 4, 4);
      // Numbered anew.
      session.deleteFolder(wire);
      session.createFolder(wire);
      session.appendMessage(wire, new Data(Buffer.from(mail(6))), 0);
      assert.match(run(port, 'sync-folder.js', name, here), /1 here$/m);
      assert.equal(fs.readFileSync(path.join(here, files()[0]), 'utf8'), mail(6));
      session.disconnect();
    });
  }

  await t.test('list-mailbox shows folders and messages', () => {
    const text = run(servers.ports.imap, 'list-mailbox.js', 'Разное');
    assert.match(text, /^Разное {2}1 messages/m);
    assert.match(text, /^INBOX {2}/m);
    assert.match(text, /Письмо 6/);
  });

  // With encryption and certificates that are checked, as a user has them.
  const account = (prefix, port, more) => Object.fromEntries(Object.entries({
    HOST: 'localhost', PORT: port, USER: kUser, PASSWORD: servers.users[kUser], ...more,
  }).map(([name, value]) => [`${prefix}_${name}`, String(value)]));
  const runTrusting = (env, name, ...args) => {
    const [file, ...before] = trusting(servers.bundle);
    return execFileSync(file, [...before, process.execPath, fileOf(name), ...args], { encoding: 'utf8', env: { ...process.env, ...env } });
  };

  await t.test('send sends, read shows what was sent', async () => {
    const report = path.join(folder, 'отчёт.txt');
    fs.writeFileSync(report, 'a table');
    assert.equal(runTrusting(account('SMTP', servers.ports.submission), 'send.js', kUser, kUser, report), 'sent\n');
    await waitForMessage(servers, kUser, 'velkor_brennox2');
    const text = runTrusting(account('IMAP', servers.ports.imaps), 'read.js');
    assert.match(text, new RegExp(`^From: {4}${kUser}$`, 'm'));
    assert.match(text, /^Subject: Привет$/m);
    assert.match(text, /^File: {4}отчёт\.txt \(text\/plain\)$/m);
    assert.match(text, /^Hello from velkor_brennox2\.$/m);
    assert.throws(() => runTrusting(account('SMTP', servers.ports.submission, { PASSWORD: 'wrong' }), 'send.js', kUser, kUser),
      { status: 1, stdout: 'not sent, error 5\n' });
  });

  await t.test('fetch-pop3 fetches what is not here yet', () => {
    const here = path.join(folder, 'pop3');
    const env = account('POP3', servers.ports.pop3s);
    assert.equal(runTrusting(env, 'fetch-pop3.js', here), '1 fetched, 1 on the server\n');
    assert.equal(runTrusting(env, 'fetch-pop3.js', here), '0 fetched, 1 on the server\n');
    assert.match(fs.readFileSync(path.join(here, fs.readdirSync(here)[0]), 'utf8'), /Hello from velkor_brennox2/);
  });

  // The scripts of the README, with the servers, the account and the passwords put in.
  await t.test('the scripts of the README send and read a mail', async () => {
    const scripts = ['### Send a message', '### Read a message'].map((heading) => readmeBlocks(heading, 'js')[0]);
    fs.writeFileSync(path.join(folder, 'report.pdf'), '%PDF-1.4');
    fs.mkdirSync(path.join(folder, 'node_modules'));
    fs.symlinkSync(path.join(__dirname, '../..'), path.join(folder, 'node_modules/velkor_brennox2'));
    const [file, ...before] = trusting(servers.bundle);
    const outputs = [];
    for (const script of scripts) {
      const filled = script
        .replace(/'(smtp|imap)\.example\.org'/, "'localhost'")
        .replace(/(session\.port) = \d+/, `$1 = ${servers.ports.submission}`)
        .replace(/session\.connectionType = 4;/, `$& session.port = ${servers.ports.imaps};`)
        .replaceAll('example.org', 'example.test')
        .replace(/session\.username = '(.*)';/, (whole, user) => `${whole} session.password = '${servers.users[user]}';`)
        .replace("session.password = 'secret';", '');
      fs.writeFileSync(path.join(folder, 'script.js'), filled);
      outputs.push(execFileSync(file, [...before, process.execPath, 'script.js'], { encoding: 'utf8', cwd: folder }));
      if (outputs.length === 1) await waitForMessage(servers, 'bob@example.test', 'report');
    }
    assert.equal(outputs[0], 'sent\n');
    assert.match(outputs[1], /^Отчёт alice@example\.test\n/);
    assert.match(outputs[1], /^The report is attached\.$/m);
    assert.match(outputs[1], /^отчёт\.pdf 8$/m);
  });

  await t.test('without an account they say what is missing', () => {
    for (const [name, ...args] of [['list-mailbox.js'], ['read.js'], ['sync-folder.js', 'INBOX', folder], ['fetch-pop3.js', folder], ['send.js', kUser, kUser]]) {
      assert.throws(() => execFileSync(process.execPath, [fileOf(name), ...args], { stdio: 'pipe', encoding: 'utf8' }), (error) => {
        assert.equal(error.status, 2, name);
        assert.match(error.stderr, /^(IMAP|POP3|SMTP)_HOST has to be in the environment/, name);
        return true;
      });
    }
  });
});

test('quickstart goes the whole way', { skip: reasonToSkip({ postfix: true }) }, () => {
  const text = execFileSync(process.execPath, [fileOf('quickstart.js')], { encoding: 'utf8' });
  assert.match(text, /it is signed and the signature is good/);
  assert.match(text, /^All done\./m);
  assert.match(fs.readFileSync(path.join(__dirname, '../../build/quickstart.html'), 'utf8'), /^<!doctype html>[^]*Отчёт/);
});
