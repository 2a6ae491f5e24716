/** The numbers that scripts pass and receive, by name. */

/** Library error codes. */
export declare const ErrorCode: {
  readonly None: 0;
  /** The server could not be reached, or the connection was lost. */
  readonly Connection: 1;
  /** TLS was asked for and the server, or this machine, cannot do it (strict GOST without an engine). */
  readonly TLSNotAvailable: 2;
  /** The server's answer could not be understood. */
  readonly Parse: 3;
  /** The server's certificate is not trusted or belongs to another host. */
  readonly Certificate: 4;
  /** The user name, password or token was refused. */
  readonly Authentication: 5;
  /** The server offers no authentication mechanism that fits the setting. */
  readonly AuthenticationMechanism: 6;
  /** The server reports the account as temporarily unavailable or throttled. */
  readonly AccountUnavailable: 7;
  /** SELECT or EXAMINE was refused: no such folder, or no right to read it. */
  readonly FolderNotFound: 8;
  readonly Rename: 9;
  readonly Delete: 10;
  readonly Create: 11;
  readonly Subscribe: 12;
  readonly Unsubscribe: 13;
  readonly List: 14;
  readonly Fetch: 15;
  readonly Append: 16;
  readonly Copy: 17;
  readonly Move: 18;
  readonly Store: 19;
  readonly Expunge: 20;
  readonly Status: 21;
  readonly Sync: 22;
  readonly Capability: 23;
  readonly Noop: 24;
  /** STARTTLS was asked for and the server does not offer it. */
  readonly StartTLSNotAvailable: 25;
  /** The arguments of a call make no valid command (a line break in a name, an empty set). */
  readonly InvalidArgument: 26;
  /** The operation was cancelled, or its session was disconnected from another thread. */
  readonly Cancelled: 27;
  /** The server sent more than was asked for or than is allowed. */
  readonly LimitExceeded: 28;
  /** The folder is over quota. */
  readonly Quota: 29;
  readonly SendMessage: 30;
  /** A file could not be read or written. */
  readonly File: 31;
  /** POP3: the mailbox is locked by another session ([IN-USE]). */
  readonly MailboxInUse: 32;
  /** POP3: listing, fetching or deleting was refused. */
  readonly FetchMessageList: 33;
  readonly DeleteMessage: 34;
  /** The server ended the session (BYE) while a command was running. */
  readonly ServerClosed: 35;
  /** The message could not be built (MIME or cryptography). */
  readonly Build: 36;
};

/** How a connection is secured. */
export declare const ConnectionType: {
  readonly Clear: 1;
  readonly StartTLS: 2;
  readonly TLS: 4;
};

/** Authentication mechanisms; 0 takes the best that the server offers. */
export declare const AuthType: {
  readonly SASLNone: 0;
  readonly SASLCRAMMD5: 1;
  readonly SASLPlain: 2;
  readonly SASLGSSAPI: 4;
  readonly SASLDIGESTMD5: 8;
  readonly SASLLogin: 16;
  readonly SASLSRP: 32;
  readonly SASLNTLM: 64;
  readonly SASLKerberosV4: 128;
  /** XOAUTH2, or OAUTHBEARER (RFC 7628) where the server offers that. */
  readonly XOAuth2: 256;
};

/** Bits of a message's flags. */
export declare const MessageFlag: {
  readonly None: 0;
  readonly Seen: 1;
  readonly Answered: 2;
  readonly Flagged: 4;
  readonly Deleted: 8;
  readonly Draft: 16;
  readonly MDNSent: 32;
  readonly Forwarded: 64;
  readonly SubmitPending: 128;
  readonly Submitted: 256;
};

/** What storing flags does. */
export declare const StoreFlagsKind: {
  readonly Add: 0;
  readonly Remove: 1;
  readonly Set: 2;
};

/** Bits of a folder's attributes; those from 32 on are special uses (RFC 6154). */
export declare const FolderFlag: {
  readonly None: 0;
  readonly Marked: 1;
  readonly Unmarked: 2;
  readonly NoSelect: 4;
  readonly NoInferiors: 8;
  readonly Inbox: 16;
  readonly SentMail: 32;
  readonly Starred: 64;
  readonly AllMail: 128;
  readonly Trash: 256;
  readonly Drafts: 512;
  readonly Spam: 1024;
  readonly Important: 2048;
  readonly Archive: 4096;
};

/** A folder's path in its wire form, modified UTF-7 (RFC 3501 section 5.1.3), from its readable text. */
export declare function encodeFolderPath(text: string): string;

/** The readable text of a folder's path. What is no valid modified UTF-7 stays as it is. */
export declare function decodeFolderPath(path: string): string;
