'use strict';
// Shows the newest message of an IMAP account's INBOX.
//
//   node examples/read.js HOST USER PASSWORD

const { IMAPSession, MessageParser } = require('..');
const { ConnectionType } = require('../constants');

const [hostname, username, password] = process.argv.slice(2);
if (password === undefined) {
  console.error('usage: node examples/read.js HOST USER PASSWORD');
  process.exit(2);
}

const session = new IMAPSession();
session.hostname = hostname;
session.connectionType = ConnectionType.TLS;
session.username = username;
session.password = password;

session.fetchMessagesByUIDAsync('INBOX', (error, messages) => {
  if (error) throw error;
  const newest = messages.at(-1);
  if (newest === undefined) {
    console.log('INBOX is empty');
    session.disconnect();
    return;
  }
  const parser = new MessageParser();
  parser.Import(session.fetchMessageByUID('INBOX', newest.uid).bytes());
  session.disconnect();

  console.log(`From:    ${parser.header.from}`);
  console.log(`Date:    ${parser.header.date}`);
  console.log(`Subject: ${parser.header.subject}`);
  if (parser.isSigned) console.log(`Signed:  ${parser.verifyResult ? 'and the signature is good' : 'but not validly'}`);
  for (const { filename, mimeType } of parser.attachments) console.log(`File:    ${filename} (${mimeType})`);
  console.log(`\n${parser.PlainTextBodyRendering()}`);
});
