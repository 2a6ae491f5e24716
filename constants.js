// The numbers that scripts pass and receive, by name. A test holds them against the library's own.
'use strict';

const ErrorCode = Object.freeze({
  None: 0,
  Connection: 1,
  TLSNotAvailable: 2,
  Parse: 3,
  Certificate: 4,
  Authentication: 5,
  AuthenticationMechanism: 6,
  AccountUnavailable: 7,
  FolderNotFound: 8,
  Rename: 9,
  Delete: 10,
  Create: 11,
  Subscribe: 12,
  Unsubscribe: 13,
  List: 14,
  Fetch: 15,
  Append: 16,
  Copy: 17,
  Move: 18,
  Store: 19,
  Expunge: 20,
  Status: 21,
  Sync: 22,
  Capability: 23,
  Noop: 24,
  StartTLSNotAvailable: 25,
  InvalidArgument: 26,
  Cancelled: 27,
  LimitExceeded: 28,
  Quota: 29,
  SendMessage: 30,
  File: 31,
  MailboxInUse: 32,
  FetchMessageList: 33,
  DeleteMessage: 34,
  ServerClosed: 35,
  Build: 36,
});

const ConnectionType = Object.freeze({
  Clear: 1,
  StartTLS: 2,
  TLS: 4,
});

const AuthType = Object.freeze({
  SASLNone: 0,
  SASLCRAMMD5: 1,
  SASLPlain: 2,
  SASLGSSAPI: 4,
  SASLDIGESTMD5: 8,
  SASLLogin: 16,
  SASLSRP: 32,
  SASLNTLM: 64,
  SASLKerberosV4: 128,
  XOAuth2: 256,
});

const MessageFlag = Object.freeze({
  None: 0,
  Seen: 1,
  Answered: 2,
  Flagged: 4,
  Deleted: 8,
  Draft: 16,
  MDNSent: 32,
  Forwarded: 64,
  SubmitPending: 128,
  Submitted: 256,
});

const StoreFlagsKind = Object.freeze({
  Add: 0,
  Remove: 1,
  Set: 2,
});

const FolderFlag = Object.freeze({
  None: 0,
  Marked: 1,
  Unmarked: 2,
  NoSelect: 4,
  NoInferiors: 8,
  Inbox: 16,
  SentMail: 32,
  Starred: 64,
  AllMail: 128,
  Trash: 256,
  Drafts: 512,
  Spam: 1024,
  Important: 2048,
  Archive: 4096,
});

// Modified UTF-7 (RFC 3501 section 5.1.3): printable ASCII stands for itself, '&' is "&-", everything else is
// UTF-16 in base64 with ',' for '/', between '&' and '-'.
function encodeFolderPath(text) {
  return text.replace(/&|[^\x20-\x7e]+/g, (run) => {
    if (run === '&') return '&-';
    const utf16 = Buffer.from(run, 'utf16le').swap16();
    return `&${utf16.toString('base64').replace(/=+$/, '').replace(/\//g, ',')}-`;
  });
}

const kShifted = /&([A-Za-z0-9+,]*)-/g;

function decodeShifted(whole, base64) {
  if (base64 === '') return '&';
  const utf16 = Buffer.from(base64.replace(/,/g, '/'), 'base64');
  // Half a code unit can't have been written by an encoder: the text is no modified UTF-7.
  if (utf16.length === 0 || utf16.length % 2 !== 0) return whole;
  return utf16.swap16().toString('utf16le');
}

function decodeFolderPath(path) {
  return path.replace(kShifted, decodeShifted);
}

module.exports = {
  ErrorCode,
  ConnectionType,
  AuthType,
  MessageFlag,
  StoreFlagsKind,
  FolderFlag,
  encodeFolderPath,
  decodeFolderPath,
};
