// The connection is cut after every number of bytes that a short session receives, and after every number that it
// sends: nothing crashes, hangs, gives half a message, or loses or doubles one beyond what the protocol makes
// unavoidable.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const path = require('node:path');
const readline = require('node:readline');
const test = require('node:test');

const { AuthType, ConnectionType } = require('../../constants.js');
const { Data, IMAPSession } = require('../module/load.js');
const { reasonToSkip, startServers } = require('./harness.js');

const kUser = 'alice@example.test';
const kMail = `From: a@example.test\r\nSubject: one of a kind\r\n\r\n${'line of the body\r\n'.repeat(12)}`;

async function startProxy(port) {
  const child = spawn(process.execPath, [path.join(__dirname, 'imap-proxy.js'), String(port)], { stdio: ['pipe', 'pipe', 'inherit'] });
  const lines = readline.createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  const next = async () => (await lines.next()).value;
  return {
    port: JSON.parse(await next()).port,
    // Sets the limits of what a connection receives and sends; gives the bytes of the longest connections before.
    async limit(...bytes) {
      child.stdin.write(`${bytes.join(' ')}\n`);
      return (await next()).split(' ').map(Number);
    },
    async stop() {
      const gone = new Promise((resolve) => child.once('exit', resolve));
      child.stdin.end();
      await gone;
    },
  };
}

function outcome(work) {
  try {
    return { value: work() };
  } catch (error) {
    return { error: error.message };
  }
}

// What is cut, and the limits for it.
const kDirections = [['received', (bytes) => [bytes, 0]], ['sent', (bytes) => [0, bytes]]];

const pause = (milliseconds) => Atomics.wait(new Int32Array(new SharedArrayBuffer(4)), 0, 0, milliseconds);

// A command that was sent whole is carried out although its connection has gone: looks until nothing moves any more.
function settled(look) {
  for (let last = null, looks = 0; ; ++looks) {
    const now = look();
    if (JSON.stringify(now) === JSON.stringify(last) || looks === 100) return now;
    last = now;
    pause(10);
  }
}

test('a connection that is cut after N bytes, for every N', { skip: reasonToSkip({ dovecot: true, old: true }), timeout: 1800000 }, async (t) => {
  const servers = await startServers({ dovecot: true, old: true });
  t.after(() => servers.stop());
  const sessionAt = (port) => Object.assign(new IMAPSession(), {
    hostname: '127.0.0.1', port, username: kUser, password: servers.users[kUser],
    connectionType: ConnectionType.Clear, authType: AuthType.SASLPlain, checkCertificateEnabled: false,
  });

  for (const [kind, port, prefix] of [['with MOVE', servers.ports.imap, ''], ['without MOVE', servers.ports.oldImap, 'INBOX.']]) {
    await t.test(`fetch and move ${kind}`, async () => {
      const proxy = await startProxy(port);
      try {
        const direct = sessionAt(port);
        const from = `${prefix}from`;
        const to = `${prefix}to`;
        assert.equal(direct.createFolder(from), 0);
        assert.equal(direct.createFolder(to), 0);
        // Messages that are there and not marked as deleted.
        const alive = (folder) => direct.fetchMessagesByUID(folder).filter((m) => !(m.flags & 8)).map((m) => m.uid);
        const work = (uid) => {
          const session = sessionAt(proxy.port);
          const body = outcome(() => session.fetchMessageByUID(from, uid));
          const moved = outcome(() => session.moveMessages(from, uid, to));
          session.disconnect();
          return { body, moved };
        };
        const prepare = () => {
          for (const folder of [from, to]) {
            for (const uid of alive(folder)) direct.storeFlagsByUID(folder, uid, 0, 8);
            direct.expunge(folder);
          }
          return direct.appendMessage(from, new Data(Buffer.from(kMail)), 0);
        };
        let uid = prepare();
        await proxy.limit(0, 0);
        assert.equal(work(uid).moved.error, undefined);
        const totals = await proxy.limit(0, 0);
        assert.ok(totals[0] > 400 && totals[1] > 80, totals.join());
        for (const [way, [direction, limitsOf]] of kDirections.entries()) {
          const seen = new Set();
          uid = prepare();
          // The first cut also counts for the session's second connection, so both are cut at the same place.
          for (let bytes = 1; bytes <= totals[way]; ++bytes) {
            const where = `at ${bytes} ${direction}`;
            await proxy.limit(...limitsOf(bytes));
            const { body, moved } = work(uid);
            if (body.error === undefined) {
              assert.equal(body.value.bytes().toString(), kMail, where);
            } else {
              assert.match(body.error, /^Error code: (1|3|35)$/, where);
            }
            if (moved.error !== undefined) assert.match(moved.error, /^Unable to move messages. Error code: (1|3|19|35)$/, where);
            const look = () => [alive(from).length, alive(to).length];
            const [left, arrived] = moved.error === undefined || way === 0 ? look() : settled(look);
            assert.ok(left + arrived >= 1, `lost ${where}`);
            if (moved.error === undefined) assert.deepEqual([left, arrived], [0, 1], where);
            // MOVE is one step. COPY and STORE are two, and a cut between them leaves both copies.
            assert.ok(left + arrived <= (prefix ? 2 : 1), `doubled ${where}`);
            seen.add(`${left}+${arrived}`);
            if (arrived > 0 || left !== 1) uid = prepare();
          }
          assert.ok(seen.has('1+0') && seen.has('0+1'), [...seen].join(' '));
        }
        direct.disconnect();
      } finally {
        await proxy.stop();
      }
    });
  }

  await t.test('append', async () => {
    const proxy = await startProxy(servers.ports.imap);
    try {
      const direct = sessionAt(servers.ports.imap);
      assert.equal(direct.createFolder('appended'), 0);
      const work = () => {
        const session = sessionAt(proxy.port);
        const result = outcome(() => session.appendMessage('appended', new Data(Buffer.from(kMail)), 0));
        session.disconnect();
        return result;
      };
      await proxy.limit(0, 0);
      assert.equal(work().value, 1);
      const totals = await proxy.limit(0, 0);
      assert.ok(totals[1] > kMail.length, totals.join());
      let known = 1;
      for (const [way, [direction, limitsOf]] of kDirections.entries()) {
        for (let bytes = 1; bytes <= totals[way]; ++bytes) {
          const where = `at ${bytes} ${direction}`;
          await proxy.limit(...limitsOf(bytes));
          const { value, error } = work();
          const look = () => direct.fetchMessagesByUID('appended').map((m) => m.uid);
          const list = error === undefined || way === 0 ? look() : settled(look);
          const added = list.length - known;
          known = list.length;
          if (error === undefined) {
            assert.equal(added, 1, where);
            assert.equal(list.at(-1), value);
          } else {
            assert.match(error, /^\d+$/);
            assert.ok(added === 0 || added === 1, where);
          }
          // What has arrived is whole.
          if (added === 1) assert.equal(direct.fetchMessageByUID('appended', list.at(-1)).bytes().toString(), kMail, where);
        }
      }
      direct.disconnect();
    } finally {
      await proxy.stop();
    }
  });
});
