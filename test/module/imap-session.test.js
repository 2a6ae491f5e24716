'use strict';
// What IMAPSession does before and without a server: arguments, texts, failures.
const test = require('node:test');
const assert = require('node:assert');
const net = require('node:net');
const path = require('node:path');
const brennox = require('./load.js');
const { called } = require('./support.js');

const { Data, IMAPSession } = brennox;
const nothing = () => assert.fail('called back');
const data = new Data(Buffer.from('message'));
const foreign = {};
require(path.join(process.env.BRENNOX_TEST_ADDONS, 'probe.node')).wrap(foreign);

// Nothing listens on the port.
function unreachable() {
  const session = new IMAPSession();
  session.hostname = '127.0.0.1';
  session.port = 1;
  session.connectionType = 1;
  return session;
}

test('the defaults of a new session', () => {
  const session = new IMAPSession();
  for (const name of ['hostname', 'username', 'password', 'OAuth2Token']) assert.strictEqual(session[name], '');
  assert.strictEqual(session.port, 0);
  assert.strictEqual(session.authType, 0);
  assert.strictEqual(session.connectionType, 4);
  assert.strictEqual(session.checkCertificateEnabled, true);
  assert.strictEqual(session.strictGost, false);
  assert.strictEqual(session.timeout, undefined);
  assert.strictEqual(session.isDisconnected(), true);
  assert.strictEqual(session.isQResyncEnabled(), false);
});

test('the defaults of a new asynchronous session', () => {
  const session = new brennox.IMAPAsyncSession();
  for (const name of ['hostname', 'username', 'password', 'OAuth2Token']) assert.strictEqual(session[name], '');
  assert.strictEqual(session.port, 0);
  assert.strictEqual(session.authType, 0);
  assert.strictEqual(session.connectionType, 4);
  assert.strictEqual(session.checkCertificateEnabled, true);
  assert.strictEqual(session.strictGost, false);
  assert.strictEqual(session.timeout, undefined);
});

test('settings pass numbers through', () => {
  for (const Class of [IMAPSession, brennox.IMAPAsyncSession, brennox.POPSession]) {
    const session = new Class();
    for (const [set, read] of [[-1, 4294967295], [993, 993], [65536, 65536], [1.9, 1]]) {
      session.port = set;
      assert.strictEqual(session.port, read);
    }
    for (const name of ['authType', 'connectionType']) {
      for (const [set, read] of [[2.7, 2], [-1, -1], [3, 3], [256, 256], [4294967295, -1]]) {
        session[name] = set;
        assert.strictEqual(session[name], read);
      }
    }
    for (const text of ['', 'имя', 'a\0b', 'x'.repeat(10000)]) {
      session.username = text;
      assert.strictEqual(session.username, text);
    }
  }
});

// Each call with wrong arguments, and the text of its TypeError. The checks go in argument order.
const kFolder = 'first parameter must be a string';
const kMessage = 'first must be a string. Second must be a number';
const kCount = 'Wrong number of arguments';
const kWrong = 'Wrong arguments';
const kStart = 'third parameter if presents must be a number (range start)';
const kEnd = 'fourth parameter if presents must be a number (range end)';
const kCallback = 'last parameter must be a callback function';
const wrong = {
  renameFolder: [[[], 'first and second parameter must be a string'], [['a'], 'first and second parameter must be a string'],
    [['a', 1], 'first and second parameter must be a string'], [[1, 'b'], 'first and second parameter must be a string']],
  createFolder: [[[], kFolder], [[1], kFolder], [[null], kFolder]],
  createSpecialFolder: [[[], kFolder], [[1, 1], kFolder], [['a'], 'second parameter must be a number'], [['a', '1'], 'second parameter must be a number']],
  deleteFolder: [[[], kFolder], [[{}], kFolder]],
  subscribeFolder: [[[], kFolder], [[1], kFolder]],
  unsubscribeFolder: [[[], kFolder], [[1], kFolder]],
  folderStatus: [[[], kFolder], [[1], kFolder]],
  folderStatusAsync: [[[], kFolder], [[nothing], kFolder], [[1, nothing], kFolder], [['INBOX'], kCallback], [['INBOX', 5], kCallback]],
  moveMessages: [[[], kCount], [['a', 1], kCount], [[1, 1, 'b'], kWrong], [['a', '1', 'b'], kWrong], [['a', 1, 2], kWrong]],
  moveMessagesAsync: [[[], kCount], [['a', 1, 'b'], kCount], [[1, 1, 'b', nothing], kWrong], [['a', '1', 'b', nothing], kWrong], [['a', 1, 2, nothing], kWrong],
    [['a', 1, 'b', 5], kWrong]],
  fetchMessagesByUID: [[[], kFolder], [[5], kFolder], [['INBOX', '5'], kStart], [['INBOX', null], kStart], [['INBOX', 1, '7'], kEnd],
    [['INBOX', '1', '7'], kStart], [['INBOX', undefined, {}], kEnd], [['INBOX', 1, null], kEnd], [[5, '5'], kFolder], [['INBOX', 5n], kStart]],
  fetchMessagesByUIDAsync: [[[], kFolder], [[nothing], kFolder], [['INBOX', '5', nothing], kStart], [['INBOX', 1, '7', nothing], kEnd],
    [['INBOX', '1', '7', nothing], kStart], [['INBOX', null, nothing], kStart], [[5, '5', nothing], kFolder],
    [['INBOX'], kCallback], [['INBOX', 1, 2], kCallback]],
  fetchMessageByUID: [[[], kMessage], [['INBOX'], kMessage], [[1, 1], kMessage], [['INBOX', '1'], kMessage]],
  fetchMessageByUIDAsync: [[[], kMessage], [['INBOX', nothing], kMessage], [['INBOX', 1], kCallback], [[1, 1, nothing], kMessage]],
  fetchMessageByNumber: [[[], kMessage], [['INBOX'], kMessage], [['INBOX', '1'], kMessage], [[1, 1], kMessage]],
  syncMessagesByUID: [[[], 'first parameter must be a string (folder name)'], [[5, 5], 'first parameter must be a string (folder name)'],
    [['INBOX'], 'second parameter must be a number (modseq)'], [['INBOX', '5'], 'second parameter must be a number (modseq)'],
    [['INBOX', 5, '1'], kStart], [['INBOX', 5, 1, '7'], kEnd], [['INBOX', 5, null], kStart], [['INBOX', 5, 1, null], kEnd],
    [['INBOX', 5, '1', '7'], kStart], [['INBOX', '5', '1'], 'second parameter must be a number (modseq)'],
    [[5, '5', '1'], 'first parameter must be a string (folder name)'], [['INBOX', 5, undefined, '7'], kEnd]],
  syncMessagesByUIDAsync: [[[], 'first parameter must be a string (folder name)'], [['INBOX', nothing], 'second parameter must be a number (modseq)'],
    [['INBOX', '5', nothing], 'second parameter must be a number (modseq)'], [[5, 5, nothing], 'first parameter must be a string (folder name)'],
    [['INBOX', 5], kCallback]],
  storeFlagsByUID: [[[], kCount], [['a', 1, 0], kCount], [[1, 1, 0, 1], kWrong], [['a', '1', 0, 1], kWrong], [['a', 1, '0', 1], kWrong], [['a', 1, 0, '1'], kWrong]],
  storeFlagsByUIDAsync: [[[], kCount], [['a', 1, 0, 1], kCount], [[1, 1, 0, 1, nothing], kWrong], [['a', '1', 0, 1, nothing], kWrong], [['a', 1, '0', 1, nothing], kWrong],
    [['a', 1, 0, '1', nothing], kWrong], [['a', 1, 0, 1, {}], kWrong]],
  storeFlagsByNumber: [[[], kCount], [['a', 1, 0], kCount], [[1, 1, 0, 1], kWrong], [['a', '1', 0, 1], kWrong], [['a', 1, '0', 1], kWrong], [['a', 1, 0, null], kWrong]],
  copyMessages: [[[], kCount], [['a', 'b'], kCount], [['a', 1, 1], kWrong], [[1, 'b', 1], kWrong], [['a', 'b', '1'], kWrong], [['a', 'b', 1, '1'], kEnd],
    [['a', 'b', 1, null], kEnd], [['a', 'b', '1', '1'], kWrong]],
  appendMessage: [[[], kCount], [['a', data], kCount], [[1, data, 0], kWrong], [['a', Buffer.from('x'), 0], kWrong], [['a', 'x', 0], kWrong],
    [['a', {}, 0], kWrong], [['a', foreign, 0], kWrong], [['a', Object.create(data), 0], kWrong], [['a', null, 0], kWrong], [['a', undefined, 0], kWrong],
    [['a', new brennox.MessageHeader(), 0], kWrong], [['a', data, '0'], kWrong]],
  appendMessageAsync: [[[], kCount], [['a', data, 0], kCount], [[1, data, 0, nothing], kWrong], [['a', {}, 0, nothing], kWrong], [['a', data, '0', nothing], kWrong],
    [['a', data, 0, 5], kWrong]],
  expunge: [[[], kWrong], [[1], kWrong]],
  expungeAsync: [[[], kCount], [['a'], kCount], [[5], kCount], [[5, nothing], 'First argument must be a string'],
    [['a', 5], 'Second argument must be a callback function'], [[5, 5], 'First argument must be a string']],
  disconnectAsync: [[[], kCallback], [[5], kCallback]],
  loginIfNeededAsync: [[[], kCallback], [['x'], kCallback]],
  connectIfNeededAsync: [[[], kCallback], [[null], kCallback]],
  fetchAllFoldersAsync: [[[], kCallback], [[{}], kCallback]],
};
for (const [method, calls] of Object.entries(wrong)) {
  test(`${method}: wrong arguments throw at once, with their texts`, async () => {
    // Nothing is sent, and nobody is called back later.
    let connections = 0;
    const server = net.createServer((socket) => {
      connections += 1;
      socket.destroy();
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    const session = Object.assign(new IMAPSession(), { hostname: '127.0.0.1', port: server.address().port, connectionType: 1 });
    for (const [args, text] of calls) {
      assert.throws(() => session[method](...args), { name: 'TypeError', message: text }, `${method}(${args.map(String)})`);
    }
    assert.strictEqual(session.isDisconnected(), true);
    await new Promise((resolve) => setTimeout(resolve, 20));
    assert.strictEqual(connections, 0);
    await new Promise((resolve) => server.close(resolve));
  });
}

test('methods that give the error code do not throw without a server', () => {
  const session = unreachable();
  for (const [method, ...args] of [
    ['loginIfNeeded'], ['connectIfNeeded'], ['renameFolder', 'a', 'b'], ['createFolder', 'a'], ['createSpecialFolder', 'a', 32],
    ['deleteFolder', 'a'], ['subscribeFolder', 'a'], ['unsubscribeFolder', 'a'], ['storeFlagsByUID', 'a', 1, 0, 1],
    ['storeFlagsByNumber', 'a', 1, 0, 1], ['copyMessages', 'a', 'b', 1], ['copyMessages', 'a', 'b', 1, undefined], ['expunge', 'a'],
  ]) {
    assert.strictEqual(session[method](...args), 1, method);
  }
  assert.strictEqual(session.disconnect(), undefined);
});

test('methods with a result throw the error code without a server', () => {
  const session = unreachable();
  for (const [text, method, ...args] of [
    ['Error code: 1', 'fetchAllFolders'],
    ['Error code: 1', 'fetchSubscribedFolders'],
    ['Error code: 1', 'folderStatus', 'INBOX'],
    ['Error code: 1', 'fetchMessagesByUID', 'INBOX', 5, undefined],
    ['Error code: 1', 'fetchMessageByUID', 'INBOX', 1],
    ['Error code: 1', 'fetchMessageByNumber', 'INBOX', 1],
    ['Error code: 1', 'syncMessagesByUID', 'INBOX', 1, 1, 5],
    ['Unable to move messages. Error code: 1', 'moveMessages', 'INBOX', 1, 'b'],
    ['Unable to obtain capabilities. Error code: 1', 'capabilityMove'],
    ['Unable to obtain capabilities. Error code: 1', 'capabilityCreateSpecialUse'],
    ['1', 'appendMessage', 'INBOX', data, 0],
  ]) {
    assert.throws(() => session[method](...args), (error) => error.constructor === Error && error.message === text, method);
  }
});

test('the asynchronous twins call back with the error alone', async () => {
  const session = unreachable();
  for (const [text, method, ...args] of [
    ['Error code: 1', 'loginIfNeededAsync'],
    ['Error code: 1', 'connectIfNeededAsync'],
    ['Error code: 1', 'fetchAllFoldersAsync'],
    ['Folder status is NULL. Error code: 1', 'folderStatusAsync', 'INBOX'],
    ['Error code: 1', 'moveMessagesAsync', 'INBOX', 1, 'b'],
    ['Fetched messages array is NULL. Error code: 1', 'fetchMessagesByUIDAsync', 'INBOX'],
    ['Fetched messages array is NULL. Error code: 1', 'fetchMessagesByUIDAsync', 'INBOX', 1, 5],
    ['Error code: 1', 'fetchMessageByUIDAsync', 'INBOX', 1],
    ['Error code: 1', 'syncMessagesByUIDAsync', 'INBOX', 1],
    ['Error code: 1', 'storeFlagsByUIDAsync', 'INBOX', 1, 0, 1],
    ['Error code: 1', 'appendMessageAsync', 'INBOX', data, 0],
    ['Error code: 1', 'expungeAsync', 'INBOX'],
  ]) {
    const result = await called((callback) => assert.strictEqual(session[method](...args, callback), undefined));
    assert.strictEqual(result.length, 1, method);
    assert.strictEqual(result[0].constructor, Error);
    assert.strictEqual(result[0].message, text, method);
  }
});

test('disconnectAsync calls back with null and undefined', async () => {
  assert.deepStrictEqual(await called((callback) => assert.strictEqual(unreachable().disconnectAsync(callback), undefined)), [null, undefined]);
});

test('the callback is the last argument, however many there are', async () => {
  for (const [method, ...args] of [['moveMessagesAsync', 'INBOX', 1, 'b'], ['storeFlagsByUIDAsync', 'INBOX', 1, 0, 1], ['appendMessageAsync', 'INBOX', data, 0], ['folderStatusAsync', 'INBOX']]) {
    const [error] = await called((callback) => unreachable()[method](...args, () => assert.fail('not the last'), callback));
    assert.match(error.message, /Error code: 1$/, method);
  }
});

test('syncMessagesByUIDAsync looks at no range', async () => {
  for (const args of [(callback) => [callback, 1, 10], (callback) => ['1', {}, callback], (callback) => [callback, '1', null]]) {
    const [error] = await called((callback) => unreachable().syncMessagesByUIDAsync('INBOX', 1, ...args(callback)));
    assert.strictEqual(error.message, 'Error code: 1');
  }
});

test('appendMessage without a host name: selecting the folder comes first and fails', async () => {
  const session = new IMAPSession();
  session.connectionType = 1;
  assert.throws(() => session.appendMessage('INBOX', data, 0), (error) => error.constructor === Error && error.message === '1');
  const [error] = await called((callback) => session.appendMessageAsync('INBOX', data, 0, callback));
  assert.strictEqual(error.message, 'Error code: 1');
});

test('the session lives as long as its workers', async () => {
  let session = unreachable();
  const results = Array.from({ length: 20 }, () => called((callback) => session.folderStatusAsync('INBOX', callback)));
  session = undefined;
  globalThis.gc?.();
  for (const [error] of await Promise.all(results)) assert.match(error.message, /Error code: 1$/);
});
