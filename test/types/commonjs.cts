// Compiles only: the declarations as a CommonJS user meets them.
import brennox = require('velkor_brennox2');
import constants = require('velkor_brennox2/constants');

const header = new brennox.MessageHeader();
header.from = 'alice@example.test';
header.to = ['bob@example.test'];
header.date = new Date(0);
const date: Date | undefined = header.date;
// @ts-expect-error the list of extra fields is read-only
header.extraHeaders = {};
// @ts-expect-error recipients are a list
header.to = 'bob@example.test';

const builder = new brennox.MessageBuilder();
builder.header = header;
builder.addAttachments([new brennox.Attachment(Buffer.from('x'), 'a.txt')]);
const bytes: Buffer = builder.data;
builder.getDataAsync((error: Error | null, data: Buffer) => void [error, data]);

const smtp = new brennox.ISMTPAsyncSession();
smtp.connectionType = constants.ConnectionType.StartTLS;
const code: number = smtp.sendMessage(bytes, 'alice@example.test', ['bob@example.test']);
smtp.sendMessageOperation('a@example.test', ['b@example.test'], bytes, 0, (error, result) => {
  const sent: boolean = error === null && result === constants.ErrorCode.None;
  void sent;
});
// @ts-expect-error all five arguments are needed
smtp.sendMessageOperation('a@example.test', ['b@example.test'], bytes, 0);

const imap = new brennox.IMAPSession();
imap.fetchMessagesByUIDAsync('INBOX', (error, messages) => void [error, messages[0]?.uid]);
imap.fetchMessagesByUIDAsync('INBOX', 5, undefined, (error, messages) => void [error, messages]);
const raw: brennox.Data | undefined = imap.fetchMessageByUID('INBOX', 1);
imap.fetchMessageByUIDAsync('INBOX', 1, (error, message) => void [error, message?.length()]);
// @ts-expect-error there may be no such message
imap.fetchMessageByUIDAsync('INBOX', 1, (error, message) => void [error, message.length()]);
const folders: brennox.IMAPFolder[] = imap.fetchAllFolders();
const readable: string[] = folders.map((folder) => constants.decodeFolderPath(folder.path));
// @ts-expect-error flags are a number
imap.storeFlagsByUID('INBOX', 1, constants.StoreFlagsKind.Add, '\\Seen');

const pop = new brennox.POPSession();
const info: brennox.POPMessageInfo = pop.fetchMessages()[0];
const same: brennox.Data | undefined = pop.fetchMessage(info) ?? pop.fetchMessage(1);

const parser = new brennox.MessageParser();
parser.Import(bytes);
parser.ReadAsync('mail.eml', (error) => void error);
const signed: string | undefined = parser.extendedSignInfo?.hashAlg;
// @ts-expect-error results are read-only
parser.isSigned = true;

void [date, code, raw, readable, same, signed];
