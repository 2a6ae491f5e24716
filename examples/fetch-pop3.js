'use strict';
// Fetches the messages of a POP3 mailbox that are not yet in a directory, as .eml files. Deletes nothing.
//
//   node examples/fetch-pop3.js <directory>      the account is in the environment, see account.js
//
// Each file is named after the identifier that the server gives its message for good.

const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');

const { POPSession } = require('..');
const { withAccount } = require('./account.js');

const [directory] = process.argv.slice(2);
if (directory === undefined) {
  console.error('usage: node examples/fetch-pop3.js <directory>');
  process.exit(2);
}
fs.mkdirSync(directory, { recursive: true });

// An identifier may hold characters that no file name should.
/** @param {string} uid */
const fileOf = (uid) => path.join(directory, `${crypto.createHash('sha256').update(uid).digest('hex').slice(0, 32)}.eml`);

const session = withAccount(new POPSession(), 'POP3');
let fetched = 0;
const messages = session.fetchMessages();
for (const message of messages) {
  if (message.uid === '') throw new Error('this server gives its messages no identifiers');
  if (fs.existsSync(fileOf(message.uid))) continue;
  const data = session.fetchMessage(message);
  if (data === undefined) throw new Error(`message ${message.index} cannot be fetched`);
  if (data.writeToFile(fileOf(message.uid)) !== 0) throw new Error(`${fileOf(message.uid)} cannot be written`);
  fetched += 1;
}
session.disconnect();
console.log(`${fetched} fetched, ${messages.length} on the server`);
