// Lists the folders of an IMAP account and the newest messages of one of them.
//
//   node examples/list-mailbox.js [folder]        the account is in the environment, see account.js
'use strict';

const { IMAPSession, MessageParser } = require('..');
const { FolderFlag, MessageFlag, decodeFolderPath, encodeFolderPath } = require('../constants');
const { withAccount } = require('./account.js');

const kNewest = 20;

/** @param {number} flags @param {{ [name: string]: number }} table */
function namesOf(flags, table) {
  return Object.keys(table).filter((name) => table[name] !== 0 && (flags & table[name]) !== 0).join(' ');
}

function main() {
  const session = withAccount(new IMAPSession(), 'IMAP');
  const error = session.loginIfNeeded();
  if (error !== 0) throw new Error(`cannot log in: error ${error}`);
  try {
    for (const folder of session.fetchAllFolders()) {
      if (folder.flags & FolderFlag.NoSelect) continue;
      const status = session.folderStatus(folder.path);
      console.log(`${decodeFolderPath(folder.path)}  ${status.messageCount} messages, ${status.unseenCount} unread  ${namesOf(folder.flags, FolderFlag)}`);
    }
    const path = encodeFolderPath(process.argv[2] ?? 'INBOX');
    for (const message of session.fetchMessagesByUID(path).slice(-kNewest)) {
      const text = session.fetchMessageByUID(path, message.uid);
      // It may have gone meanwhile.
      if (text === undefined) continue;
      const subject = subjectOf(text);
      console.log(`${String(message.uid).padStart(8)}  ${String(message.size).padStart(9)} bytes  ${subject}  ${namesOf(message.flags, MessageFlag)}`);
    }
  } finally {
    session.disconnect();
  }
}

/** @param {import('..').Data} data */
function subjectOf(data) {
  const parser = new MessageParser();
  parser.Import(data.bytes());
  return parser.header.subject;
}

main();
