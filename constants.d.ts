/** The numbers that scripts pass and receive, by name. */

/** Library error codes. */
export declare const ErrorCode: {
  /** Success. */
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
  /** RENAME was refused. */
  readonly Rename: 9;
  /** DELETE was refused. */
  readonly Delete: 10;
  /** CREATE was refused. */
  readonly Create: 11;
  /** SUBSCRIBE was refused. */
  readonly Subscribe: 12;
  /** UNSUBSCRIBE was refused. */
  readonly Unsubscribe: 13;
  /** Listing folders was refused. */
  readonly List: 14;
  /** Fetching was refused. */
  readonly Fetch: 15;
  /** The message was not appended. */
  readonly Append: 16;
  /** COPY was refused. */
  readonly Copy: 17;
  /** Moving was refused. */
  readonly Move: 18;
  /** Storing flags was refused. */
  readonly Store: 19;
  /** EXPUNGE was refused. */
  readonly Expunge: 20;
  /** STATUS was refused. */
  readonly Status: 21;
  /** Synchronising was refused. */
  readonly Sync: 22;
  /** The capabilities could not be had. */
  readonly Capability: 23;
  /** NOOP was refused. */
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
  /** The server took the message back while it was sent. */
  readonly SendMessage: 30;
  /** A file could not be read or written. */
  readonly File: 31;
  /** POP3: the mailbox is locked by another session ([IN-USE]). */
  readonly MailboxInUse: 32;
  /** POP3: listing, fetching or deleting was refused. */
  readonly FetchMessageList: 33;
  /** POP3: deleting was refused. */
  readonly DeleteMessage: 34;
  /** The server ended the session (BYE) while a command was running. */
  readonly ServerClosed: 35;
  /** The message could not be built (MIME or cryptography). */
  readonly Build: 36;
};

/** How a connection is secured. */
export declare const ConnectionType: {
  /** No encryption. */
  readonly Clear: 1;
  /** Encrypted after STARTTLS or STLS; refused when the server does not offer it. */
  readonly StartTLS: 2;
  /** Encrypted from the first byte. */
  readonly TLS: 4;
};

/**
 * Authentication mechanisms: bits for the IMAP and POP3 sessions, where several may be allowed at once and 0 takes
 * the best that the server offers, SCRAM-SHA-256 first. What this machine or the server cannot do is error 6.
 * `ISMTPAsyncSession` takes single values, listed with its `authType`.
 */
export declare const AuthType: {
  /** The best that the server offers. */
  readonly SASLNone: 0;
  /** CRAM-MD5. */
  readonly SASLCRAMMD5: 1;
  /** PLAIN. */
  readonly SASLPlain: 2;
  /**
   * GSSAPI: a Kerberos 5 ticket instead of a password, found as the system finds it (KRB5CCNAME, KRB5_CONFIG);
   * `hostname` must be the name that the server's key was issued for. Taken only when asked for.
   */
  readonly SASLGSSAPI: 4;
  /** DIGEST-MD5. */
  readonly SASLDIGESTMD5: 8;
  /** LOGIN; for `ISMTPAsyncSession` any mechanism. */
  readonly SASLLogin: 16;
  /** SRP; not available. */
  readonly SASLSRP: 32;
  /** NTLM, version 1 of the protocol, which today's servers mostly refuse. Taken only when asked for. */
  readonly SASLNTLM: 64;
  /** Kerberos version 4; not available. */
  readonly SASLKerberosV4: 128;
  /** OAUTHBEARER (RFC 7628), or XOAUTH2 where the server offers that alone. */
  readonly XOAuth2: 256;
};

/** Bits of a message's flags. */
export declare const MessageFlag: {
  /** No flag. */
  readonly None: 0;
  /** \Seen */
  readonly Seen: 1;
  /** \Answered */
  readonly Answered: 2;
  /** \Flagged */
  readonly Flagged: 4;
  /** \Deleted */
  readonly Deleted: 8;
  /** \Draft */
  readonly Draft: 16;
  /** $MDNSent */
  readonly MDNSent: 32;
  /** $Forwarded */
  readonly Forwarded: 64;
  /** $SubmitPending */
  readonly SubmitPending: 128;
  /** $Submitted */
  readonly Submitted: 256;
};

/** What storing flags does. */
export declare const StoreFlagsKind: {
  /** Adds the flags to those that are set. */
  readonly Add: 0;
  /** Removes the flags. */
  readonly Remove: 1;
  /** Replaces all flags. */
  readonly Set: 2;
};

/** Bits of a folder's attributes; those from 32 on are special uses (RFC 6154). */
export declare const FolderFlag: {
  /** No attribute. */
  readonly None: 0;
  /** \Marked */
  readonly Marked: 1;
  /** \Unmarked */
  readonly Unmarked: 2;
  /** \Noselect: only a level of the hierarchy. */
  readonly NoSelect: 4;
  /** \Noinferiors: cannot have subfolders. */
  readonly NoInferiors: 8;
  /** The inbox. */
  readonly Inbox: 16;
  /** \Sent */
  readonly SentMail: 32;
  /** \Flagged */
  readonly Starred: 64;
  /** \All */
  readonly AllMail: 128;
  /** \Trash */
  readonly Trash: 256;
  /** \Drafts */
  readonly Drafts: 512;
  /** \Junk */
  readonly Spam: 1024;
  /** \Important */
  readonly Important: 2048;
  /** \Archive */
  readonly Archive: 4096;
};

/** A folder's path in its wire form, modified UTF-7 (RFC 3501 section 5.1.3), from its readable text. */
export declare function encodeFolderPath(text: string): string;

/** The readable text of a folder's path. What is no valid modified UTF-7 stays as it is. */
export declare function decodeFolderPath(path: string): string;
