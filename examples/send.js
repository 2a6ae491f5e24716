'use strict';
// Builds a mail with an attachment and sends it.
//
//   node examples/send.js FROM TO [FILE]      the account is in the environment, see account.js

const fs = require('node:fs');
const path = require('node:path');

const { Attachment, ISMTPAsyncSession, MessageBuilder, MessageHeader } = require('..');
const { ConnectionType } = require('../constants');
const { withAccount } = require('./account.js');

const [from, to, file] = process.argv.slice(2);
if (to === undefined) {
  console.error('usage: node examples/send.js FROM TO [FILE]');
  process.exit(2);
}

const header = new MessageHeader();
header.from = from;
header.to = [to];
header.subject = 'Привет';

const builder = new MessageBuilder();
builder.header = header;
builder.textBody = 'Hello from velkor_brennox2.\n';
builder.htmlBody = '<p>Hello from <b>velkor_brennox2</b>.</p>';
if (file !== undefined) builder.addAttachments([new Attachment(fs.readFileSync(file), path.basename(file))]);

const session = new ISMTPAsyncSession();
session.port = 587;
session.connectionType = ConnectionType.StartTLS;
withAccount(session, 'SMTP');
session.sendMessageOperation(from, [to], builder.data, 0, (error, code) => {
  if (error) throw error;
  console.log(code === 0 ? 'sent' : `not sent, error ${code}`);
  process.exitCode = code === 0 ? 0 : 1;
});
