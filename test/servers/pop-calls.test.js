// What each call of POPSession sends to the server and what it gives, against a server whose every answer is known.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');

const { AuthType, ConnectionType, ErrorCode } = require('../../constants.js');
const { Data, MessageHeader, POPMessageInfo, POPSession } = require('../module/load.js');
const { startScripted } = require('./scripted.js');

const kAnswers = [
  [/^CAPA/, '+OK\r\nTOP\r\nUIDL\r\nUSER\r\n.\r\n'],
  [/^LIST\r/, '+OK\r\n1 10\r\n2 20\r\n3 4294967295\r\n.\r\n'],
  [/^UIDL\r/, '+OK\r\n1 one\r\n2 two\r\n3 three\r\n.\r\n'],
  [/^UIDL 1/, '+OK 1 one\r\n'],
  [/^UIDL 2/, '+OK 2 two\r\n'],
  [/^UIDL 3/, '+OK 3 three\r\n'],
  [/^(?:TOP|RETR|DELE) (?:[4-9]|\d\d)/, '-ERR no such message\r\n'],
  [/^TOP (\d+)/, '+OK\r\nSubject: Number $1\r\n\r\n.\r\n'],
  [/^RETR (\d+)/, '+OK\r\nSubject: Number $1\r\n\r\nbody\r\n.\r\n'],
  [/^QUIT/, ['+OK bye\r\n', { close: true }]],
  [/^/, '+OK\r\n'],
];

async function against(rows, work) {
  const server = await startScripted([['+OK ready\r\n', { serve: [...rows, ...kAnswers], forever: true }]]);
  try {
    const session = Object.assign(new POPSession(), {
      hostname: '127.0.0.1', port: server.port, username: 'alice', password: 'secret', connectionType: ConnectionType.Clear, authType: 0,
    });
    let known = 0;
    // The lines since the last look; what a session says to get to know the server is its own affair.
    const sent = async () => {
      const lines = (await server.connections()).flatMap((connection) => connection.lines);
      const fresh = lines.slice(known).filter((line) => line !== 'CAPA');
      known = lines.length;
      return fresh;
    };
    await work(session, sent);
    session.disconnect();
  } finally {
    await server.stop();
  }
}

const entry = (settings) => Object.assign(new POPMessageInfo(), settings);

function plain(value) {
  if (value instanceof Data) return ['Data', value.bytes().toString()];
  if (value instanceof MessageHeader) return ['MessageHeader', value.subject];
  return value;
}

const message = (number) => ['Data', `Subject: Number ${number}\r\n\r\nbody\r\n`];
const header = (number) => ['MessageHeader', `Number ${number}`];

test('each call sends its command and gives its result', () => against([], async (session, sent) => {
  const login = ['USER alice', 'PASS secret'];
  for (const [method, args, commands, value] of [
    ['connect', [], [], 0],
    ['noop', [], [...login, 'NOOP'], 0],
    ['login', [], [], 0],
    ['fetchHeader', [2], ['TOP 2 0'], header(2)],
    ['fetchHeader', [2.9], ['TOP 2 0'], header(2)],
    ['fetchHeader', [2 ** 32 + 1], ['TOP 1 0'], header(1)],
    ['fetchHeader', [7], ['TOP 7 0'], undefined],
    ['fetchMessage', [2], ['RETR 2'], message(2)],
    ['fetchMessage', [2.9, 'ignored'], ['RETR 2'], message(2)],
    ['fetchMessage', [7], ['RETR 7'], undefined],
    ['fetchMessage', [-1], ['RETR 4294967295'], undefined],
    ['fetchMessage', [entry({ index: 2 })], ['RETR 2'], message(2)],
    ['fetchHeader', [entry({ index: 2 })], ['TOP 2 0'], header(2)],
    ['deleteMessage', [2], ['DELE 2'], 0],
    ['deleteMessage', [entry({ index: 3 })], ['DELE 3'], 0],
    ['deleteMessage', [7], ['DELE 7'], ErrorCode.DeleteMessage],
    ['disconnect', [], ['QUIT'], undefined],
    ['login', [], login, 0],
    ['disconnect', [], ['QUIT'], undefined],
    // Leaves no connection behind.
    ['checkAccount', [], [...login, 'QUIT'], 0],
    ['disconnect', [], [], undefined],
  ]) {
    const result = session[method](...args);
    const name = `${method}(${args.map((arg) => JSON.stringify(arg))})`;
    assert.deepEqual(await sent(), commands, name);
    assert.deepEqual(plain(result), value, name);
  }
}));

test('a listing has an entry of its own for each message, which names it in later calls', () => against([], async (session, sent) => {
  const infos = session.fetchMessages();
  assert.deepEqual((await sent()).slice(-2).sort(), ['LIST', 'UIDL']);
  assert.ok(infos.every((info) => info instanceof POPMessageInfo));
  assert.deepEqual(infos.map(({ index, uid, UID, size }) => [index, uid, UID, size]),
    [[1, 'one', 'one', 10], [2, 'two', 'two', 20], [3, 'three', 'three', 4294967295]]);
  for (const [i, info] of infos.entries()) {
    assert.deepEqual(plain(session.fetchMessage(info)), plain(session.fetchMessage(i + 1)));
    assert.deepEqual(plain(session.fetchHeader(info)), plain(session.fetchHeader(i + 1)));
  }
  assert.deepEqual((await sent()).filter((line) => !line.startsWith('UIDL')),
    [1, 2, 3].flatMap((number) => [`RETR ${number}`, `RETR ${number}`, `TOP ${number} 0`, `TOP ${number} 0`]));
  // A change is seen in this entry alone, and by the calls that it is given to.
  Object.assign(infos[0], { index: 3, uid: 'three', size: 5 });
  assert.deepEqual(plain(session.fetchMessage(infos[0])), message(3));
  assert.deepEqual(session.fetchMessages().map(({ index, uid, size }) => [index, uid, size])[0], [1, 'one', 10]);
  assert.equal(session.deleteMessage(infos[1]), 0);
  assert.ok((await sent()).includes('DELE 2'));
}));

test('an empty listing is an empty array, a refused one throws its code', async () => {
  await against([[/^(?:LIST|UIDL)\r/, '+OK\r\n.\r\n']], (session) => assert.deepEqual(session.fetchMessages(), []));
  await against([[/^(?:LIST|UIDL)\r/, '-ERR no\r\n']], (session) => assert.throws(() => session.fetchMessages(), (error) => {
    assert.equal(error.constructor, Error);
    assert.equal(error.message, `Error code: ${ErrorCode.FetchMessageList}`);
    return true;
  }));
});

test('wrong arguments send nothing', () => against([], async (session, sent) => {
  for (const method of ['fetchHeader', 'fetchMessage', 'deleteMessage']) {
    for (const [args, text] of [
      [[], 'parameter must be specified'], [[undefined], 'Error extracting message info'], [['1'], 'Error extracting message info'],
      [[{ index: 1 }], 'Error extracting message info'], [[new Data()], 'Error unwrapping message info'],
    ]) {
      assert.throws(() => session[method](...args), { name: 'TypeError', message: text });
    }
  }
  assert.deepEqual(await sent(), []);
}));

test('a mechanism that was asked for is used', () => against([
  [/^CAPA/, '+OK\r\nUSER\r\nSASL PLAIN LOGIN\r\n.\r\n'],
  [/^AUTH PLAIN/, '+OK\r\n'],
], async (session, sent) => {
  session.authType = AuthType.SASLPlain;
  assert.equal(session.login(), 0);
  assert.match((await sent()).join('\n'), /^AUTH PLAIN/);
}));
