// ISMTPAsyncSession: its surface, what its settings take, and what a send refuses before it connects.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const { once } = require('node:events');
const net = require('node:net');
const test = require('node:test');

const { ISMTPAsyncSession } = require('./load.js');

const kMembers = [
  'hostname', 'port', 'username', 'password', 'checkCertificateEnabled', 'OAuth2Token', 'authType',
  'connectionType', 'strictGost', 'checkAccount', 'sendMessage', 'sendMessageOperation', 'disconnect',
  'isDisconnected',
];

const kMessage = 'Subject: x\r\n\r\nbody\r\n';

// A session whose server does not exist: nothing listens on port 1.
function sessionToNowhere() {
  const session = new ISMTPAsyncSession();
  session.hostname = '127.0.0.1';
  session.port = 1;
  session.connectionType = 1;
  return session;
}

test('members are defined in their order', () => {
  const names = Object.getOwnPropertyNames(ISMTPAsyncSession.prototype).filter((name) => name !== 'constructor');
  assert.deepEqual(names, kMembers);
});

test('a fresh object has the initial values; constructor arguments are ignored', () => {
  const session = new ISMTPAsyncSession('a', 5);
  const values = Object.fromEntries(kMembers.slice(0, 9).map((name) => [name, session[name]]));
  assert.deepEqual(values, {
    hostname: '', port: 0, username: '', password: '', checkCertificateEnabled: false, OAuth2Token: '',
    authType: 16, connectionType: 4, strictGost: false,
  });
});

test('a call without new is refused', () => {
  assert.throws(() => ISMTPAsyncSession(), { name: 'TypeError', message: "Class constructors cannot be invoked without 'new'" });
});

const kSettings = {
  string: { names: ['hostname', 'username', 'password', 'OAuth2Token'], good: ['', 'текст', 'a\0b'], bad: [1, true, null, undefined, {}, Buffer.from('x')] },
  number: { names: ['port', 'connectionType', 'authType'], good: [], bad: ['1', true, null, undefined, {}, 1n] },
  boolean: { names: ['checkCertificateEnabled', 'strictGost'], good: [true, false], bad: [0, 'true', null, undefined, {}] },
};

for (const [type, { names, good, bad }] of Object.entries(kSettings)) {
  for (const name of names) {
    test(`${name}: takes a ${type}, refuses everything else and keeps its value`, () => {
      const session = new ISMTPAsyncSession();
      for (const value of good) {
        session[name] = value;
        assert.equal(session[name], value);
      }
      const before = session[name];
      for (const value of bad) {
        assert.throws(() => { session[name] = value; }, { name: 'TypeError', message: `Value must be ${type}` });
        assert.equal(session[name], before);
      }
    });
  }
}

test('port and connectionType are stored unchanged as 32-bit integers', () => {
  const session = new ISMTPAsyncSession();
  for (const name of ['port', 'connectionType']) {
    for (const [set, read] of [[3, 3], [0, 0], [-5, -5], [65536, 65536], [2.9, 2], [2 ** 32 + 7, 7], [NaN, 0]]) {
      session[name] = set;
      assert.equal(session[name], read);
    }
  }
});

test('authType: known values read back, 128 reads back as 4', () => {
  const session = new ISMTPAsyncSession();
  for (const [set, read] of [[0, 0], [4, 4], [8, 8], [16, 16], [64, 64], [128, 4], [256, 256]]) {
    session.authType = set;
    assert.equal(session.authType, read);
  }
});

test('authType: other numbers are refused with a plain Error and change nothing', () => {
  const session = new ISMTPAsyncSession();
  session.authType = 64;
  for (const value of [1, 2, 3, 5, 32, 512, -17, 24]) {
    assert.throws(() => { session.authType = value; }, (error) => {
      assert.equal(Object.getPrototypeOf(error), Error.prototype);
      assert.equal(error.message, 'Specified authentication type is not supported');
      return true;
    });
    assert.equal(session.authType, 64);
  }
});

test('checkAccount: 0 for any string, a TypeError for anything else', () => {
  const session = new ISMTPAsyncSession();
  for (const address of ['user@example.test', 'Name <user@example.test>', 'nonsense', '', '<<<']) {
    assert.equal(session.checkAccount(address), 0);
  }
  for (const args of [[], [5], [null], [undefined], [{}]]) {
    assert.throws(() => session.checkAccount(...args), { name: 'TypeError', message: 'Value must be string' });
  }
});

test('disconnect does nothing, isDisconnected is always true', () => {
  const session = new ISMTPAsyncSession();
  assert.equal(session.disconnect(), undefined);
  assert.equal(session.isDisconnected(), true);
});

test('a member borrowed onto another object is refused', () => {
  const { get } = Object.getOwnPropertyDescriptor(ISMTPAsyncSession.prototype, 'hostname');
  for (const receiver of [{}, [], new (require('./load.js').Data)()]) {
    assert.throws(() => get.call(receiver), TypeError);
    assert.throws(() => ISMTPAsyncSession.prototype.sendMessage.call(receiver, kMessage), TypeError);
  }
});

test('sendMessage: the message is checked first, then from, then recipients', () => {
  const session = sessionToNowhere();
  for (const args of [[], [5], [null], [undefined], [{}], [[]], [5, 5, 5]]) {
    assert.throws(() => session.sendMessage(...args), { name: 'TypeError', message: 'Value must be string or buffer' });
  }
  for (const from of [5, null, {}, []]) {
    assert.throws(() => session.sendMessage(kMessage, from, 5), { name: 'TypeError', message: 'from value must be string' });
  }
  for (const recipients of [5, null, 'a@example.test', {}]) {
    assert.throws(() => session.sendMessage(kMessage, 'a@example.test', recipients),
        { name: 'TypeError', message: 'recipients value must be string array' });
  }
});

test('sendMessage: elements of recipients are coerced, not refused', () => {
  assert.equal(sessionToNowhere().sendMessage(Buffer.from(kMessage), 'a@example.test', [1, null, true, { toString: () => 'b' }]), 1);
});

test('sendMessage: with other than three arguments, or an undefined one, the addresses come from the message', () => {
  const noHeader = '';
  const text = { name: 'Error', message: 'Send error: unable to get from and recipients from message' };
  for (const rest of [[], ['a@example.test'], [undefined, ['b@example.test']], ['a@example.test', undefined],
    [undefined, undefined], ['a@example.test', ['b@example.test'], 1], [5]]) {
    assert.throws(() => sessionToNowhere().sendMessage(noHeader, ...rest), (error) => {
      assert.equal(Object.getPrototypeOf(error), Error.prototype);
      assert.equal(error.message, text.message);
      return true;
    });
    assert.equal(sessionToNowhere().sendMessage('From: a@example.test\r\nTo: b@example.test\r\n\r\n', ...rest), 1);
  }
});

test('sendMessageOperation: plain Errors, checked in the order count, from, recipients, message, notify', () => {
  const session = sessionToNowhere();
  const callback = () => assert.fail('called');
  const rows = [
    [[], 'Invalid arguments count. Must be 5 arguments'],
    [[5, 5, 5, 'x'], 'Invalid arguments count. Must be 5 arguments'],
    [[5, 5, 5, 'x', callback], 'from value must be string'],
    [['a', 5, 5, 'x', callback], 'recipients value must be string array'],
    [['a', 'b', 5, 'x', callback], 'recipients value must be string array'],
    [['a', [], 5, 'x', callback], 'message value must be string or buffer'],
    [['a', [], {}, 'x', callback], 'message value must be string or buffer'],
    [['a', [], kMessage, 'x', callback], 'notify value must be number'],
    [['a', [], kMessage, true, callback], 'notify value must be number'],
  ];
  for (const [args, message] of rows) {
    assert.throws(() => session.sendMessageOperation(...args), (error) => {
      assert.equal(Object.getPrototypeOf(error), Error.prototype);
      assert.equal(error.message, message);
      return true;
    });
  }
});

function send(session, from, recipients, message = kMessage) {
  return new Promise((resolve) => {
    const result = session.sendMessageOperation(from, recipients, message, 1, (...args) => resolve(args));
    assert.equal(result, undefined);
  });
}

test('sendMessageOperation: a failed transfer calls back with null and the code', async () => {
  assert.deepEqual(await send(sessionToNowhere(), 'a@example.test', ['b@example.test']), [null, 1]);
});

test('sendMessageOperation: the callback comes later, also when nothing has to be waited for', async () => {
  let called = false;
  await new Promise((resolve) => {
    sessionToNowhere().sendMessageOperation('a', ['b'], kMessage, 1, () => {
      called = true;
      resolve();
    });
    assert.equal(called, false);
  });
});

test('sendMessageOperation: the session lives until the callback, whoever else holds it', async () => {
  const finished = send(sessionToNowhere(), 'a@example.test', ['b@example.test'], 'x'.repeat(1 << 20));
  for (let i = 0; i < 50; i++) Array.from({ length: 10000 }, () => ({}));
  global.gc?.();
  assert.deepEqual(await finished, [null, 1]);
});

test('several operations on one session at once all call back', async () => {
  const session = sessionToNowhere();
  const results = await Promise.all(Array.from({ length: 20 }, (_, i) => {
    session.username = `user${i}`;
    return send(session, `a${i}@example.test`, [`b${i}@example.test`]);
  }));
  assert.deepEqual(results, Array(20).fill([null, 1]));
});

test('line breaks and zero bytes in addresses and settings refuse the send with 30', async () => {
  for (const bad of ['a@example.test\r\nRCPT TO:<c@example.test>', 'a\nb', 'a\rb', 'a@example.test\0.evil.test']) {
    assert.equal(sessionToNowhere().sendMessage(kMessage, bad, ['b@example.test']), 30);
    assert.equal(sessionToNowhere().sendMessage(kMessage, 'a@example.test', ['b@example.test', bad]), 30);
    assert.deepEqual(await send(sessionToNowhere(), 'a@example.test', [bad]), [null, 30]);
    for (const name of ['hostname', 'username', 'password', 'OAuth2Token']) {
      const session = sessionToNowhere();
      session[name] = bad;
      assert.equal(session.sendMessage(kMessage, 'a@example.test', ['b@example.test']), 30, name);
    }
  }
});

test('strictGost on a clear connection is refused with 2', () => {
  const session = sessionToNowhere();
  session.strictGost = true;
  assert.equal(session.sendMessage(kMessage, 'a@example.test', ['b@example.test']), 2);
});

test('a hostname without a connection type of its own has no scheme and fails with 1', () => {
  for (const type of [0, 3, 5, -1]) {
    const session = sessionToNowhere();
    session.connectionType = type;
    assert.equal(session.sendMessage(kMessage, 'a@example.test', ['b@example.test']), 1);
  }
});

test('an empty hostname fails with 1', () => {
  assert.equal(new ISMTPAsyncSession().sendMessage(kMessage, 'a@example.test', ['b@example.test']), 1);
});

test('process.exit does not wait for a server that says nothing, in a worker neither', async (t) => {
  const server = net.createServer((socket) => socket.on('error', () => {}));
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  t.after(() => server.close());
  const leave = `
    const { ISMTPAsyncSession } = require(process.env.VELKOR_BRENNOX2);
    const session = Object.assign(new ISMTPAsyncSession(), { hostname: '127.0.0.1', port: ${server.address().port}, connectionType: 1 });
    session.sendMessageOperation('a@example.test', ['b@example.test'], 'text', 1, () => {});
    setTimeout(() => process.exit(7), 300);`;
  const inWorker = `
    new (require('node:worker_threads').Worker)(${JSON.stringify(leave)}, { eval: true }).on('exit', (code) => process.exit(code));`;
  for (const script of [leave, inWorker]) {
    const child = spawn(process.execPath, ['-e', script], { stdio: ['ignore', 'inherit', 'inherit'] });
    const killer = setTimeout(() => child.kill('SIGKILL'), 20_000);
    const [code] = await once(child, 'exit');
    clearTimeout(killer);
    assert.equal(code, 7);
  }
});

test('sendMessage works while the process exits', async (t) => {
  let connections = 0;
  const server = net.createServer((socket) => {
    connections++;
    socket.on('error', () => {});
    // Later than the first time that a transfer looks whether it shall end.
    setTimeout(() => socket.end('554 go away\r\n'), 1500);
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  t.after(() => server.close());
  const child = spawn(process.execPath, ['-e', `
    const { ISMTPAsyncSession } = require(process.env.VELKOR_BRENNOX2);
    process.on('exit', () => {
      const session = Object.assign(new ISMTPAsyncSession(), { hostname: '127.0.0.1', port: ${server.address().port}, connectionType: 1 });
      const start = Date.now();
      session.sendMessage('text', 'a@example.test', ['b@example.test']);
      process.exitCode = Date.now() - start > 1000 ? 7 : 8;
    });`], { stdio: ['ignore', 'inherit', 'inherit'] });
  const [code] = await once(child, 'exit');
  assert.equal(connections, 1);
  assert.equal(code, 7);
});
