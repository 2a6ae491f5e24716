'use strict';
// What POPSession does before and without a server.
const test = require('node:test');
const assert = require('node:assert');
const path = require('node:path');
const brennox = require('./load.js');

const { POPMessageInfo, POPSession } = brennox;
const probe = require(path.join(process.env.BRENNOX_TEST_ADDONS, 'probe.node'));
const typeError = (text) => ({ name: 'TypeError', message: text });

function unreachable() {
  const session = new POPSession();
  session.hostname = '127.0.0.1';
  session.port = 1;
  session.connectionType = 1;
  return session;
}

test('the defaults of a new session', () => {
  const session = new POPSession();
  for (const name of ['hostname', 'username', 'password']) assert.strictEqual(session[name], '');
  assert.strictEqual(session.port, 0);
  assert.strictEqual(session.authType, 0);
  assert.strictEqual(session.connectionType, 4);
  assert.strictEqual(session.checkCertificateEnabled, true);
  assert.strictEqual(session.strictGost, false);
  assert.strictEqual(session.timeout, 30);
  assert.strictEqual(session.OAuth2Token, undefined);
});

test('timeout: a signed 64-bit number', () => {
  const session = new POPSession();
  for (const [set, read] of [[60, 60], [-1, -1], [2 ** 40, 2 ** 40], [1.9, 1], [2 ** 64, 2 ** 63]]) {
    session.timeout = set;
    assert.strictEqual(session.timeout, read);
  }
});

for (const method of ['fetchHeader', 'fetchMessage', 'deleteMessage']) {
  test(`${method}: needs a number or a listing's entry`, () => {
    const session = new POPSession();
    const wrapped = {};
    probe.wrap(wrapped);
    assert.throws(() => session[method](), typeError('parameter must be specified'));
    for (const value of [{}, [], 'text', null, undefined, true, () => {}, Symbol('s'), Object.create(new POPMessageInfo())]) {
      assert.throws(() => session[method](value), typeError('Error extracting message info'));
    }
    for (const value of [new brennox.Data(), new POPSession(), new brennox.Attachment(), wrapped]) {
      assert.throws(() => session[method](value), typeError('Error unwrapping message info'));
    }
  });
}

test('without a server: codes are given, listing throws, fetches give undefined', () => {
  const session = unreachable();
  const info = new POPMessageInfo();
  info.index = 1;
  for (const method of ['connect', 'login', 'checkAccount', 'noop']) assert.strictEqual(session[method](), 1, method);
  assert.strictEqual(session.deleteMessage(1), 1);
  assert.strictEqual(session.deleteMessage(info), 1);
  assert.throws(() => session.fetchMessages(), (error) => error.constructor === Error && error.message === 'Error code: 1');
  for (const message of [1, info]) {
    assert.strictEqual(session.fetchHeader(message), undefined);
    assert.strictEqual(session.fetchMessage(message), undefined);
  }
  assert.strictEqual(session.disconnect(), undefined);
});
