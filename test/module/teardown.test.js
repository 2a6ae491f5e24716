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

// By how much the process grows with a round of work, in MiB, once it has warmed up.
async function growthOf(round) {
  await round();
  await round();
  const before = process.memoryUsage.rss();
  await round();
  return (process.memoryUsage.rss() - before) / kMiB;
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
    const text = 'x'.repeat(kMiB);
    const growth = await growthOf(async () => {
      for (let i = 0; i < 40; ++i) {
        new brennox[name]()[property] = text;
        if (i % 10 === 9) await settle();
      }
      await settle();
    });
    assert.ok(livesOn ? growth > 30 : growth < 10, `${growth} MiB of 40`);
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
    const growth = await growthOf(async () => {
      for (let i = 0; i < 200000; ++i) {
        new brennox[name]();
        if (i % 10000 === 9999) {
          gc();
          await new Promise(setImmediate);
        }
      }
      await settle();
    });
    assert.ok(livesOn ? growth > 9 : growth < 6, `${growth} MiB`);
  });
}
