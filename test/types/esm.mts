// Compiles only: the declarations as an ES module user meets them.
import brennox, { Attachment, MessageParser, type Callback, type ExtendedSignInfo } from 'velkor_brennox2';
import { ErrorCode, MessageFlag, encodeFolderPath } from 'velkor_brennox2/constants';

const done: Callback<number> = (error, code) => void [error, code === ErrorCode.None];
new brennox.IMAPSession().loginIfNeededAsync(done);

const parser = new MessageParser();
const attachments: Attachment[] = parser.attachments;
const info: ExtendedSignInfo | undefined = parser.extendedSignInfo;
const flags: number = MessageFlag.Seen | MessageFlag.Flagged;
const path: string = encodeFolderPath('Входящие');

void [attachments, info, flags, path];
