// IMAP: listing 10,000 messages, bodies of 10 MiB, appends, and the memory of listing 100,000 and of
// synchronising them, against a bare socket client, bare libcurl and a client from the registry. Needs the
// packages of `npm ci` in this folder and a Dovecot. Arguments choose rows: list bodies append sync memory; the
// first three without.
'use strict';

const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { setImmediate } = require('node:timers/promises');

const { buildPrograms, compare, median } = require('./lib.js');
const { kMailOwner } = require('../test/servers/dovecot.js');

const kListed = 10000;
const kBodies = 20;
const kAppends = Number(process.env.BENCH_APPENDS ?? 1000);
const kSynced = 100000;
const kChanges = 100;
const kItems = 'UID FLAGS INTERNALDATE RFC822.SIZE ENVELOPE BODYSTRUCTURE BODY.PEEK[HEADER.FIELDS (SUBJECT)]';

function deliver(servers, root, user, count, make) {
  const inbox = path.join(root, user, 'inbox');
  for (const name of ['cur', 'new', 'tmp']) fs.mkdirSync(path.join(inbox, name), { recursive: true });
  for (let i = 1; i <= count; i++) fs.writeFileSync(path.join(inbox, 'new', `${1600000000 + i}.M${i}P1.bench`), make(i));
  execFileSync('chown', ['-R', `${kMailOwner}:${kMailOwner}`, path.join(root, user)]);
}

function mail(i) {
  return `From: "Sender Number ${i % 97}" <sender${i % 97}@example.test>\nTo: "The Recipient" <alice@example.test>, bob@example.test\n` +
    `Subject: Message number ${i} with a subject of usual length\nDate: Wed, 17 Jul 2024 02:23:25 +0200\nMessage-ID: <${i}.${i * 7919}@mail.example.test>\n` +
    `In-Reply-To: <${i - 1}.x@mail.example.test>\nMIME-Version: 1.0\nContent-Type: multipart/alternative; boundary="b${i}"\n\n` +
    `--b${i}\nContent-Type: text/plain; charset=utf-8\n\nHello\n--b${i}\nContent-Type: text/html; charset=utf-8\n\n<p>Hello</p>\n--b${i}--\n`;
}

// In a process of its own: what it takes to hold the listing of a whole folder.
function listOnce(port, user, password) {
  const { IMAPSession } = require('../test/module/load.js');
  const session = Object.assign(new IMAPSession(), { hostname: '127.0.0.1', port, username: user, password, connectionType: 1 });
  session.loginIfNeeded();
  const status = () => Object.fromEntries(fs.readFileSync('/proc/self/status', 'latin1').split('\n').map((line) => line.split(':\t')));
  const before = parseInt(status().VmRSS, 10);
  const list = session.fetchMessagesByUID('INBOX');
  const peak = parseInt(status().VmHWM, 10);
  console.log(JSON.stringify({ count: list.length, before, peak }));
}

async function main(rows) {
  const { IMAPSession, Data } = require('../test/module/load.js');
  const { startServers } = require('../test/servers/harness.js');
  const [floor] = buildPrograms('imap_floor');
  const { ImapFlow } = await import('imapflow');
  // The old-fashioned server does not compress, so that all move the same bytes.
  const servers = await startServers({ dovecot: true, old: true });
  const { ports } = servers;
  const root = servers.oldMail;
  const alice = 'alice@example.test';
  const bob = 'bob@example.test';
  const sessionFor = (user, tls, port) => {
    const session = Object.assign(new IMAPSession(), {
      hostname: '127.0.0.1', port: port ?? (tls ? ports.oldImaps : ports.oldImap), username: user, password: servers.users[user],
      connectionType: tls ? 4 : 1, checkCertificateEnabled: false,
    });
    if (session.loginIfNeeded() !== 0) throw new Error('no login');
    return session;
  };
  const bare = (user, tls, commands, { what = 'fetch', port = tls ? ports.oldImaps : ports.oldImap } = {}) => () => Number(execFileSync(floor,
      [what, port, user, servers.users[user], tls ? 1 : 0, 'INBOX', ...commands].map(String)));
  const flow = async (user, tls) => {
    const client = new ImapFlow({
      host: '127.0.0.1', port: tls ? ports.oldImaps : ports.oldImap, secure: tls, tls: { rejectUnauthorized: false },
      auth: { user, pass: servers.users[user] }, logger: false, disableCompression: true,
    });
    await client.connect();
    await client.mailboxOpen('INBOX');
    return client;
  };
  const timed = (work) => {
    const start = process.hrtime.bigint();
    work();
    return Number(process.hrtime.bigint() - start) / 1e6;
  };
  const timedAsync = async (work) => {
    const start = process.hrtime.bigint();
    await work();
    return Number(process.hrtime.bigint() - start) / 1e6;
  };

  try {
    if (rows.includes('list')) {
      deliver(servers, root, alice, kListed, mail);
      sessionFor(alice).fetchMessagesByUID('INBOX');
      const session = sessionFor(alice);
      session.fetchMessagesByUID('INBOX');
      const client = await flow(alice);
      let sum = 0;
      await compare(`list ${kListed} messages, every property read`, {
        floor: bare(alice, false, [`UID FETCH 1:* (${kItems})`]),
        ours: () => timed(() => {
          for (const m of session.fetchMessagesByUID('INBOX')) sum += m.uid + m.size + m.flags + m.originalFlags + m.sequenceNumber;
        }),
        imapflow: () => timedAsync(async () => {
          for await (const m of client.fetch('1:*', { uid: true, flags: true, internalDate: true, size: true, envelope: true, bodyStructure: true, headers: ['subject'] })) sum += m.uid;
        }),
      });
      await client.logout();
    }
    if (rows.includes('bodies')) {
      const line = `${'x'.repeat(76)}\n`;
      deliver(servers, root, bob, kBodies, (i) => `Subject: ${i}\n\n${line.repeat(Math.ceil(10 * 1024 * 1024 / 78))}`);
      const commands = Array.from({ length: kBodies }, (_, i) => `UID FETCH ${i + 1} (BODY.PEEK[])`);
      sessionFor(bob).fetchMessagesByUID('INBOX');
      for (const tls of [false, true]) {
        const session = sessionFor(bob, tls);
        session.fetchMessagesByUID('INBOX');
        const client = await flow(bob, tls);
        let sum = 0;
        await compare(`${kBodies} bodies of 10 MiB ${tls ? 'over TLS' : 'in the clear'}`, {
          floor: bare(bob, tls, commands),
          'floor that keeps the bodies': bare(bob, tls, commands, { what: 'keep' }),
          // What the objects hold is given back when the event loop turns, so let it.
          ours: () => timedAsync(async () => {
            for (let uid = 1; uid <= kBodies; ++uid) {
              sum += session.fetchMessageByUID('INBOX', uid).length();
              await setImmediate();
            }
          }),
          imapflow: () => timedAsync(async () => {
            for (let uid = 1; uid <= kBodies; ++uid) sum += (await client.fetchOne(String(uid), { source: true }, { uid: true })).source.length;
          }),
        }, { runs: 7, collect: true });
        await client.logout();
      }
    }
    if (rows.includes('append')) {
      const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'bench-'));
      const text = Buffer.from(mail(1).replace(/\n/g, '\r\n').padEnd(4096, 'x'));
      fs.writeFileSync(path.join(folder, 'mail'), text);
      const session = sessionFor('carol@example.test');
      const data = new Data(text);
      await compare(`${kAppends} appends of 4 KiB, a connection each`, {
        libcurl: () => Number(execFileSync(floor, ['append', ports.oldImap, 'carol@example.test', servers.users['carol@example.test'], kAppends, path.join(folder, 'mail'), 'INBOX'].map(String))),
        ours: () => timed(() => {
          for (let i = 0; i < kAppends; ++i) session.appendMessage('INBOX', data, 0);
        }),
      }, { runs: 3 });
      fs.rmSync(folder, { recursive: true });
    }
    if (rows.includes('sync')) {
      // The server with the extensions that tell what changed.
      const dave = 'dave@example.test';
      deliver(servers, servers.mail, dave, kSynced, mail);
      const session = sessionFor(dave, false, ports.imap);
      const other = sessionFor(dave, false, ports.imap);
      session.fetchMessagesByUID('INBOX', 1, 2);
      const times = [];
      const bareTimes = [];
      for (let run = 0; run < 5; ++run) {
        const { highestModSeqValue } = session.folderStatus('INBOX');
        for (let i = 1; i <= kChanges; ++i) other.storeFlagsByUID('INBOX', i * 997, run % 2, 1);
        let changed = [];
        times.push(timed(() => { changed = session.syncMessagesByUID('INBOX', highestModSeqValue).modifiedOrAddedMessages; }));
        if (changed.length !== kChanges) throw new Error(`${changed.length} changes`);
        bareTimes.push(bare(dave, false, [`UID FETCH 1:* (${kItems} MODSEQ) (CHANGEDSINCE ${highestModSeqValue})`], { port: ports.imap })());
      }
      console.log(`\nsync of ${kSynced} messages with ${kChanges} changes: ${median(times).toFixed(2)} ms (median of ${times.length}); ` +
        `the server alone: ${median(bareTimes).toFixed(2)} ms`);
    }
    if (rows.includes('memory')) {
      const count = 100000;
      const user = 'dave@example.test';
      deliver(servers, root, user, count, mail);
      const run = () => JSON.parse(spawnSync(process.execPath, ['--expose-gc', __filename, '--list', ports.oldImap, user, servers.users[user]], { encoding: 'utf8', maxBuffer: 1 << 20 }).stdout);
      run();
      const { before, peak } = run();
      console.log(`\nmemory of listing ${count}: ${(before / 1024).toFixed(0)} MiB before, ${(peak / 1024).toFixed(0)} MiB at the peak: ` +
        `${(((peak - before) * 1024) / count).toFixed(0)} bytes a message; the bound is ${(64 + count / 1024).toFixed(0)} MiB`);
    }
  } finally {
    await servers.stop();
  }
}

const rows = process.argv.slice(2);
if (rows[0] === '--list') {
  listOnce(Number(rows[1]), rows[2], rows[3]);
} else {
  main(rows.length > 0 ? rows : ['list', 'bodies', 'append']).catch((error) => {
    console.error(error);
    process.exitCode = 1;
  });
}
