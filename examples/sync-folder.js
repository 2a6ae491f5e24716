// Keeps a folder of .eml files in step with an IMAP folder: what is new is fetched, what has gone is removed.
//
//   node examples/sync-folder.js <imap folder> <directory>      the account is in the environment, see account.js
//
// The directory's state.json remembers UIDVALIDITY and the modification sequence, so that a later run asks
// only for what has changed since. Each file is named after its message's UID; flags.json holds the flags.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const { IMAPSession } = require('..');
const { encodeFolderPath } = require('../constants');
const { withAccount } = require('./account.js');

function readJson(file, otherwise) {
  try {
    return JSON.parse(fs.readFileSync(file, 'utf8'));
  } catch (error) {
    if (/** @type {NodeJS.ErrnoException} */ (error).code === 'ENOENT') return otherwise;
    throw error;
  }
}

// A file is there whole or not at all.
function writeWhole(file, bytes) {
  fs.writeFileSync(`${file}.part`, bytes);
  fs.renameSync(`${file}.part`, file);
}

/**
 * The result of an asynchronous method as a promise.
 * @template T
 * @param {(callback: import('..').Callback<T>) => void} work
 * @returns {Promise<T>}
 */
const called = (work) => new Promise((resolve, reject) => {
  work((error, value) => (error ? reject(error) : resolve(value)));
});

/** @param {string[]} words */
async function main([folder, directory]) {
  if (folder === undefined || directory === undefined) throw new Error('usage: sync-folder.js <imap folder> <directory>');
  const wire = encodeFolderPath(folder);
  fs.mkdirSync(directory, { recursive: true });
  const stateFile = path.join(directory, 'state.json');
  const flagsFile = path.join(directory, 'flags.json');
  const fileOf = (uid) => path.join(directory, `${uid}.eml`);
  const uidsHere = () => fs.readdirSync(directory).map((name) => /^(\d+)\.eml$/.exec(name)?.[1]).filter(Boolean).map(Number);

  const session = withAccount(new IMAPSession(), 'IMAP');
  await called((callback) => session.loginIfNeededAsync(callback));
  try {
    // Read before the changes: one that comes in between is then told of again by the next run, not missed.
    const status = await called((callback) => session.folderStatusAsync(wire, callback));
    let state = readJson(stateFile, { uidValidity: 0, modSequence: 0 });
    let flags = readJson(flagsFile, {});
    if (state.uidValidity !== status.uidValidity) {
      // The server numbers its messages anew: nothing here means anything any more.
      for (const uid of uidsHere()) fs.unlinkSync(fileOf(uid));
      state = { uidValidity: status.uidValidity, modSequence: 0 };
      flags = {};
    }
    const changes = await called((callback) => session.syncMessagesByUIDAsync(wire, state.modSequence, callback));
    const messages = changes.modifiedOrAddedMessages;

    // A server without QRESYNC does not say what vanished, and neither does a first run.
    let gone = changes.vanishedMessages;
    if (state.modSequence === 0 || !session.isQResyncEnabled()) {
      const listed = state.modSequence === 0 ? messages : await called((callback) => session.fetchMessagesByUIDAsync(wire, callback));
      const there = new Set(listed.map((message) => message.uid));
      gone = uidsHere().filter((uid) => !there.has(uid));
    }
    let removed = 0;
    for (const uid of gone) {
      if (fs.existsSync(fileOf(uid))) {
        fs.unlinkSync(fileOf(uid));
        ++removed;
      }
      delete flags[uid];
    }
    let fetched = 0;
    for (const message of messages) {
      if (!fs.existsSync(fileOf(message.uid))) {
        const data = await called((callback) => session.fetchMessageByUIDAsync(wire, message.uid, callback));
        // Gone between the two commands.
        if (data === undefined || data.length() === 0) continue;
        writeWhole(fileOf(message.uid), data.bytes());
        ++fetched;
      }
      flags[message.uid] = message.flags;
    }
    writeWhole(flagsFile, JSON.stringify(flags, null, 1));
    // Last: a run that was interrupted is done again.
    writeWhole(stateFile, JSON.stringify({ uidValidity: status.uidValidity, modSequence: status.highestModSeqValue }));
    console.log(`${fetched} fetched, ${removed} removed, ${messages.length - fetched} changed, ${uidsHere().length} here`);
  } finally {
    await called((callback) => session.disconnectAsync(callback));
  }
}

main(process.argv.slice(2)).catch((error) => {
  console.error(error.message);
  process.exitCode = 1;
});
