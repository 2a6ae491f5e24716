// The examples that read a mailbox do what they say.
'use strict';

const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { encodeFolderPath } = require('../../constants.js');
const { Data, IMAPSession } = require('../module/load.js');
const { reasonToSkip, startServers } = require('./harness.js');

const kUser = 'alice@example.test';

test('the examples that read a mailbox', { skip: reasonToSkip({ dovecot: true, old: true }) }, async (t) => {
  const servers = await startServers({ dovecot: true, old: true });
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'sync-'));
  t.after(async () => {
    fs.rmSync(folder, { recursive: true });
    await servers.stop();
  });
  const run = (port, name, ...args) => execFileSync(process.execPath, [path.join(__dirname, '../../examples', name), ...args], {
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
});
