'use strict';
// Shows the newest message of an IMAP account's INBOX.
//
//   node examples/read.js      the account is in the environment, see account.js

const { IMAPSession, MessageParser } = require('..');
const { withAccount } = require('./account.js');

const session = withAccount(new IMAPSession(), 'IMAP');

session.fetchMessagesByUIDAsync('INBOX', (error, messages) => {
  if (error) throw error;
  const newest = messages.at(-1);
  if (newest === undefined) {
    console.log('INBOX is empty');
    session.disconnect();
    return;
  }
  const parser = new MessageParser();
  const raw = session.fetchMessageByUID('INBOX', newest.uid);
  session.disconnect();
  if (raw === undefined) throw new Error('somebody else has just deleted the message');
  parser.Import(raw.bytes());

  console.log(`From:    ${parser.header.from}`);
  console.log(`Date:    ${parser.header.date}`);
  console.log(`Subject: ${parser.header.subject}`);
  if (parser.isSigned) console.log(`Signed:  ${parser.verifyResult ? 'and the signature is good' : 'but not validly'}`);
  for (const { filename, mimeType } of parser.attachments) console.log(`File:    ${filename} (${mimeType})`);
  console.log(`\n${parser.PlainTextBodyRendering()}`);
});
