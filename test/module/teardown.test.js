'use strict';
// What becomes of a library object with its script object: some are given back, some live on, each class as it is.
const test = require('node:test');
const assert = require('node:assert');
const v8 = require('node:v8');
const vm = require('node:vm');
const brennox = require('./load.js');

v8.setFlagsFromString('--expose-gc');
const gc = vm.runInNewContext('gc');
const settle = async () => {
  for (let i = 0; i < 6; ++i) {
    gc();
    await new Promise((resolve) => setTimeout(resolve, 5));
  }
};
const skip = /asan/.test(process.env.LD_PRELOAD ?? '') && 'the sanitizer keeps freed memory';
const kMiB = 1 << 20;
const kText = 'x'.repeat(kMiB);

// By how much the process grows with a round of work, in MiB, once it has warmed up. What is kept is kept in every
// round, and other things happen now and then: the first growth of a few that `isExpected` counts, else the last.
async function growthOf(round, isExpected) {
  await round();
  for (let attempt = 1; ; ++attempt) {
    const before = process.memoryUsage.rss();
    await round();
    const growth = (process.memoryUsage.rss() - before) / kMiB;
    if (attempt === 4 || isExpected(growth)) return growth;
  }
}

// Sessions and the entries of a POP3 listing outlive their script objects; folders do not.
for (const [name, property, livesOn] of [
  ['IMAPSession', 'hostname', true],
  ['IMAPAsyncSession', 'hostname', true],
  ['POPSession', 'hostname', true],
  ['POPMessageInfo', 'uid', true],
  ['IMAPFolder', 'path', false],
]) {
  test(`${name}: what it holds ${livesOn ? 'lives on' : 'goes with it'}`, { skip }, async () => {
    const isExpected = (growth) => (livesOn ? growth > 30 : growth < 10);
    const growth = await growthOf(async () => {
      for (let i = 0; i < 40; ++i) {
        new brennox[name]()[property] = kText;
        if (i % 10 === 9) await settle();
      }
      await settle();
    }, isExpected);
    assert.ok(isExpected(growth), `${growth} MiB of 40`);
  });
}

// Objects without a text to measure by: 200,000 of them take 12 MiB and more.
for (const [name, livesOn] of [
  ['IMAPFolderInfo', true],
  ['IMAPFetchFoldersOperation', true],
  ['IMAPFolderStatus', false],
  ['IMAPMessage', false],
  ['IMAPSyncResult', false],
]) {
  test(`${name}: the library's object ${livesOn ? 'lives on' : 'goes with it'}`, { skip }, async () => {
    const isExpected = (growth) => (livesOn ? growth > 9 : growth < 6);
    const growth = await growthOf(async () => {
      for (let i = 0; i < 200000; ++i) {
        new brennox[name]();
        if (i % 10000 === 9999) {
          gc();
          await new Promise(setImmediate);
        }
      }
      await settle();
    }, isExpected);
    assert.ok(isExpected(growth), `${growth} MiB`);
  });
}

// Every call works inside a pool of its own, which gives back what it made on the way.
const kData = new brennox.Data(Buffer.from('x'));
const kCalls = [
  ['renameFolder', kText, kText], ['createFolder', kText], ['createSpecialFolder', kText, 32], ['deleteFolder', kText], ['subscribeFolder', kText],
  ['unsubscribeFolder', kText], ['folderStatus', kText], ['moveMessages', kText, 1, kText], ['fetchMessagesByUID', kText], ['fetchMessageByUID', kText, 1],
  ['fetchMessageByNumber', kText, 1], ['syncMessagesByUID', kText, 1], ['storeFlagsByUID', kText, 1, 0, 1], ['storeFlagsByNumber', kText, 1, 0, 1],
  ['copyMessages', kText, kText, 1], ['appendMessage', kText, kData, 0], ['expunge', kText],
];
// Of 20 MiB and more.
const isSmall = (growth) => growth < 8;
for (const [method, ...args] of kCalls) {
  test(`IMAPSession.${method}: gives back what it took, and so does its twin`, { skip }, async () => {
    const session = Object.assign(new brennox.IMAPSession(), { hostname: '127.0.0.1', port: 1, connectionType: 1 });
    const works = [() => {
      try {
        session[method](...args);
      } catch (error) {
        assert.match(error.message, /1$/);
      }
    }];
    if (typeof session[`${method}Async`] === 'function') {
      works.push(() => new Promise((resolve) => { session[`${method}Async`](...args, resolve); }));
    }
    for (const work of works) {
      const growth = await growthOf(async () => {
        for (let i = 0; i < 20; ++i) await work();
        await settle();
      }, isSmall);
      assert.ok(isSmall(growth), `${growth} MiB`);
    }
  });
}

test('settings give back what they held', { skip }, async () => {
  for (const [Class, names] of [
    [brennox.IMAPSession, ['hostname', 'username', 'password', 'OAuth2Token']],
    [brennox.IMAPAsyncSession, ['hostname', 'username', 'password', 'OAuth2Token']],
    [brennox.POPSession, ['hostname', 'username', 'password']],
    [brennox.POPMessageInfo, ['uid', 'UID']],
    [brennox.IMAPFolder, ['path']],
  ]) {
    const object = new Class();
    for (const name of names) {
      const growth = await growthOf(async () => {
        for (let i = 0; i < 20; ++i) {
          object[name] = kText;
          assert.strictEqual(object[name].length, kMiB);
        }
        await settle();
      }, isSmall);
      assert.ok(isSmall(growth), `${Class.name}.${name}: ${growth} MiB`);
      object[name] = '';
    }
  }
});
