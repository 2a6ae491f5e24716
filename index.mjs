import addon from './index.js';

export const {
  Data,
  ISMTPAsyncSession,
  IMAPAsyncSession,
  IMAPFetchFoldersOperation,
  IMAPSession,
  IMAPFolder,
  IMAPFolderInfo,
  IMAPFolderStatus,
  IMAPMessage,
  MessageHeader,
  MessageParser,
  Attachment,
  MessageBuilder,
  IMAPSyncResult,
  POPMessageInfo,
  POPSession,
} = addon;
export default addon;
