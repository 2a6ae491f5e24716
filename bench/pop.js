// POP3: fetching a mailbox of 1,000 messages, and listing one of 10,000, against a bare socket client and a
// client from the registry. Needs the packages of `npm ci` in this folder and a Dovecot.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const { buildPrograms, compare } = require('./lib.js');
const { POPSession } = require('../test/module/load.js');
const { kMailOwner } = require('../test/servers/dovecot.js');
const { startServers } = require('../test/servers/harness.js');

const kMessages = 1000;
const kListed = 10000;

function deliver(servers, user, count, size) {
  const inbox = path.join(servers.mail, user, 'inbox');
  for (const name of ['cur', 'new', 'tmp']) fs.mkdirSync(path.join(inbox, name), { recursive: true });
  const body = `${'x'.repeat(70)}\n`.repeat(Math.ceil(size / 71));
  for (let i = 0; i < count; i++) {
    const message = `From: a@example.test\nSubject: ${i}\n\n${body}`;
    // The sizes stand in the name, as a delivery agent leaves them: the server must not read each file to list it.
    const name = `${1600000000 + i}.M${i}P1.bench,S=${message.length},W=${message.length + message.split('\n').length - 1}`;
    fs.writeFileSync(path.join(inbox, 'new', name), message);
  }
  execFileSync('chown', ['-R', `${kMailOwner}:${kMailOwner}`, path.join(servers.mail, user)]);
}

function sessionFor(servers, user) {
  return Object.assign(new POPSession(), {
    hostname: '127.0.0.1', port: servers.ports.pop3, username: user, password: servers.users[user], connectionType: 1,
  });
}

async function main() {
  const [floor] = buildPrograms('pop_floor');
  const { default: Pop3Command } = await import('node-pop3');
  const servers = await startServers({ dovecot: true });
  try {
    const user = 'alice@example.test';
    const password = servers.users[user];
    deliver(servers, user, kMessages, 4096);
    deliver(servers, 'bob@example.test', kListed, 10);
    // Dovecot builds its index at the first listing.
    for (const name of [user, 'bob@example.test']) {
      const warm = sessionFor(servers, name);
      warm.fetchMessages().slice(0, kMessages).forEach((info) => warm.fetchMessage(info));
      warm.disconnect();
    }
    const bare = (depth) => () =>
      Number(execFileSync(floor, [servers.ports.pop3, user, password, kMessages, depth].map(String)));

    await compare(`${kMessages} messages of 4 KiB, one by one`, {
      floor: bare(1),
      'floor, 50 on the way': bare(50),
      ours: () => {
        const session = sessionFor(servers, user);
        session.login();
        const start = process.hrtime.bigint();
        for (let i = 1; i <= kMessages; i++) session.fetchMessage(i).length();
        const took = Number(process.hrtime.bigint() - start) / 1e6;
        session.disconnect();
        return took;
      },
      'node-pop3': async () => {
        const pop3 = new Pop3Command({ user, password, host: '127.0.0.1', port: servers.ports.pop3 });
        await pop3.STAT();
        const start = process.hrtime.bigint();
        for (let i = 1; i <= kMessages; i++) await pop3.RETR(i);
        const took = Number(process.hrtime.bigint() - start) / 1e6;
        await pop3.QUIT();
        return took;
      },
    });

    const other = 'bob@example.test';
    await compare(`listing ${kListed} messages`, {
      floor: () => Number(execFileSync(floor, [servers.ports.pop3, other, servers.users[other]].map(String))),
      'ours, LIST and UIDL': () => {
        const session = sessionFor(servers, other);
        session.login();
        const start = process.hrtime.bigint();
        session.fetchMessages().forEach((info) => info.uid);
        const took = Number(process.hrtime.bigint() - start) / 1e6;
        session.disconnect();
        return took;
      },
      'node-pop3, UIDL alone': async () => {
        const pop3 = new Pop3Command({ user: other, password: servers.users[other], host: '127.0.0.1', port: servers.ports.pop3 });
        await pop3.STAT();
        const start = process.hrtime.bigint();
        await pop3.UIDL();
        const took = Number(process.hrtime.bigint() - start) / 1e6;
        await pop3.QUIT();
        return took;
      },
    });
  } finally {
    await servers.stop();
  }
}

main();
