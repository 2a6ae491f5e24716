/// <reference types="node" />

/**
 * Native mail module: send over SMTP, read and manage mailboxes over IMAP and POP3, parse and build
 * messages, with S/MIME (RSA, ECDSA and GOST).
 *
 * Four rules hold for all classes:
 * - A value of the wrong type throws a `TypeError` and changes nothing.
 * - Methods without `Async` in their name block the calling thread until they are done; their twins
 *   run on the worker pool and call back error-first, on the calling thread. Wrong arguments of a twin throw at
 *   once, and its callback is not called. An object lives as long as work of its runs.
 * - When a script ends the process or its worker thread by `process.exit()` or an uncaught exception, asynchronous
 *   work that is queued is dropped and work that waits for a server is interrupted. `worker.terminate()` tells nobody,
 *   and waits for such work as Node.js always does, and for blocking calls, until their time-out.
 * - Many methods return a library error code as a number, where 0 is success. The codes, flags and
 *   kinds have names in `velkor_brennox2/constants`.
 */
declare namespace velkor_brennox2 {
  /**
   * Called once an asynchronous operation has ended: with `null` and the result, or with the error alone. From
   * Node.js 24 on it does not see the caller's `AsyncLocalStorage` unless it is bound (`AsyncLocalStorage.bind`).
   */
  type Callback<T = void> = (error: Error | null, result: T) => void;

  /** Bytes held by the library: a message, a part of one, a certificate. */
  class Data {
    /** @param buffer Copied; without it the data are empty. */
    constructor(buffer?: Buffer);
    /** The number of bytes. */
    length(): number;
    /** A new Buffer with a copy of the bytes, made anew at each call. */
    bytes(): Buffer;
    /** The bytes in base64 (RFC 4648 section 4) on one line. */
    base64String(): string;
    /**
     * Writes the bytes to a file, whole or not at all: on failure an existing file stays as it was.
     * @returns 0, or `ErrorCode.File`.
     */
    writeToFile(path: string): number;
  }

  /** The settings that the session classes share. They take effect with the next connection. */
  interface ConnectionSettings {
    /** Host name or address. "" when not set. */
    hostname: string;
    /** 0 (the default) stands for the protocol's own port for the connection type. */
    port: number;
    /** The account name. */
    username: string;
    /** The password of the account; never logged. */
    password: string;
    /** Whether the connection must use GOST cipher suites alone (TLS 1.2); it fails where it can't. */
    strictGost: boolean;
    /** One of `ConnectionType`: 1 clear, 2 STARTTLS, 4 TLS (the default). */
    connectionType: number;
  }

  /** Settings for sending mail, and the sending itself (RFC 5321). Each send opens a connection of its own. */
  class ISMTPAsyncSession implements ConnectionSettings {
    constructor();
    hostname: string;
    port: number;
    /** The account name. */
    username: string;
    /** The password of the account; never logged. */
    password: string;
    /**
     * Whether the server's host name must match its certificate. Off by default; the certificate's issuer
     * is checked in either case.
     */
    checkCertificateEnabled: boolean;
    /** Used when `authType` is 256. */
    OAuth2Token: string;
    /**
     * One of 0, 4, 8, 16 (the default), 64, 128, 256 of `AuthType`. With 256 and an `OAuth2Token` the token is sent;
     * all others log in by the best mechanism that the server offers for a name and a password. 128 reads back as
     * 4. Any other number throws an Error "Specified authentication type is not supported".
     */
    authType: number;
    connectionType: number;
    strictGost: boolean;
    /** Makes no connection; always 0. */
    checkAccount(address: string): number;
    /**
     * Sends and waits. Recipients add up: a second send of the same object also goes to the recipients of
     * the first.
     * @param message Bytes, or text that is sent as UTF-8.
     * @param from Bare mailbox. Without `from` and `recipients` both are taken from the message's header.
     * @returns 0, or an `ErrorCode`.
     */
    sendMessage(message: string | Buffer, from?: string, recipients?: string[]): number;
    /**
     * Sends on the worker pool. A failed transfer is reported by the code given to the callback, not as an
     * error. `process.exit` does not wait for it: a mail that is under way then may or may not arrive.
     * @param notify Kept for compatibility; without effect.
     */
    sendMessageOperation(
      from: string,
      recipients: string[],
      message: string | Buffer,
      notify: number,
      callback: Callback<number>,
    ): void;
    /** Does nothing: there is no lasting connection. */
    disconnect(): void;
    /** Always true. */
    isDisconnected(): boolean;
  }

  /** A diagnostic session: its one operation logs what a mailbox answers to standard error. */
  class IMAPAsyncSession implements ConnectionSettings {
    constructor();
    hostname: string;
    port: number;
    /** The account name. */
    username: string;
    /** The password of the account; never logged. */
    password: string;
    /** On by default: an unknown issuer or another host's certificate is refused. */
    checkCertificateEnabled: boolean;
    /** The access token for OAuth 2 (`AuthType.XOAuth2`); never logged. */
    OAuth2Token: string;
    /** One of `AuthType`; 0 takes the best that the server offers. */
    authType: number;
    connectionType: number;
    strictGost: boolean;
    /**
     * Fetches the messages of INBOX and logs progress and outcome. Blocks until the operation has ended, at
     * the latest when the session's time-out has passed.
     * @returns Always 0.
     */
    fetchAllFolders(): number;
  }

  /** Holds a listing of folders. */
  class IMAPFetchFoldersOperation {
    constructor();
    /** The folders listed; an empty array for an operation that never ran. */
    folders(): IMAPFolder[];
  }

  /**
   * Blocking access to an IMAP account (RFC 3501, RFC 9051), with asynchronous twins. Operations connect
   * and log in by themselves; those of one session queue. Folder names are in their wire form, modified
   * UTF-7: see `encodeFolderPath` and `decodeFolderPath` in `velkor_brennox2/constants`.
   */
  class IMAPSession implements ConnectionSettings {
    constructor();
    hostname: string;
    port: number;
    /** The account name. */
    username: string;
    /** The password of the account; never logged. */
    password: string;
    /**
     * On by default: an unknown issuer or another host's certificate is refused with error 4. `appendMessage` refuses
     * an unknown issuer even when it is off.
     */
    checkCertificateEnabled: boolean;
    /** The access token for OAuth 2 (`AuthType.XOAuth2`); never logged. */
    OAuth2Token: string;
    /** One of `AuthType`; 0 takes the best that the server offers. */
    authType: number;
    connectionType: number;
    strictGost: boolean;

    /** Logs out and closes the connection; the next operation opens a new one. */
    disconnect(): void;
    /** The asynchronous twin of `disconnect`. */
    disconnectAsync(callback: Callback<undefined>): void;
    /** Whether there is no connection at the moment. */
    isDisconnected(): boolean;
    /** @returns 0, or an `ErrorCode`. */
    loginIfNeeded(): number;
    /** As `loginIfNeeded`; a failure is an Error "Error code: N", success gives 0. */
    loginIfNeededAsync(callback: Callback<number>): void;
    /** @returns 0, or an `ErrorCode`. */
    connectIfNeeded(): number;
    /** As `connectIfNeeded`; a failure is an Error "Error code: N", success gives 0. */
    connectIfNeededAsync(callback: Callback<number>): void;

    /** @returns 0, or an `ErrorCode`. */
    renameFolder(oldName: string, newName: string): number;
    /** @returns 0, or an `ErrorCode`. */
    createFolder(name: string): number;
    /**
     * Creates a folder with a special use (RFC 6154).
     * @param kind One of the special-use bits of `FolderFlag`.
     * @returns 0, or an `ErrorCode`: `InvalidArgument` for any other kind, `Create` where the server knows no special
     * uses.
     */
    createSpecialFolder(name: string, kind: number): number;
    /** @returns 0, or an `ErrorCode`. */
    deleteFolder(name: string): number;
    /** @returns 0, or an `ErrorCode`. */
    subscribeFolder(name: string): number;
    /** @returns 0, or an `ErrorCode`. */
    unsubscribeFolder(name: string): number;
    /** Throws an Error "Error code: N" when the listing fails, as the next two do. */
    fetchSubscribedFolders(): IMAPFolder[];
    /** All folders of the account. Throws an Error "Error code: N". */
    fetchAllFolders(): IMAPFolder[];
    /** The asynchronous twin of `fetchAllFolders`; a failure is an Error "Error code: N". */
    fetchAllFoldersAsync(callback: Callback<IMAPFolder[]>): void;
    /** The counts of one folder, without selecting it. Throws an Error "Error code: N". */
    folderStatus(folder: string): IMAPFolderStatus;
    /** The asynchronous twin of `folderStatus`; a failure is an Error "Folder status is NULL. Error code: N". */
    folderStatusAsync(folder: string, callback: Callback<IMAPFolderStatus>): void;

    /**
     * Moves one message, on servers without MOVE by copying and expunging that message alone.
     * @returns The message's UID in the destination; undefined when the server does not tell it. Throws an
     * Error "Unable to move messages. Error code: N".
     */
    moveMessages(folder: string, uid: number, destination: string): number | undefined;
    /** The asynchronous twin of `moveMessages`; a failure is an Error "Error code: N". */
    moveMessagesAsync(
      folder: string,
      uid: number,
      destination: string,
      callback: Callback<number | undefined>,
    ): void;
    /**
     * What the server knows about the messages from UID `start` (1) to `end` (the last), both included: flags, header,
     * structure, dates and sizes. An `end` below `start` is refused with error 26, `start - 1` is as none.
     * Throws an Error "Error code: N".
     */
    fetchMessagesByUID(folder: string, start?: number, end?: number): IMAPMessage[];
    /**
     * The asynchronous twin of `fetchMessagesByUID`; the callback comes last. A failure is an Error "Fetched messages
     * array is NULL. Error code: N".
     */
    fetchMessagesByUIDAsync(folder: string, callback: Callback<IMAPMessage[]>): void;
    /** The asynchronous twin of `fetchMessagesByUID`; the callback comes last. */
    fetchMessagesByUIDAsync(folder: string, start: number | undefined, callback: Callback<IMAPMessage[]>): void;
    /** The asynchronous twin of `fetchMessagesByUID`; the callback comes last. */
    fetchMessagesByUIDAsync(
      folder: string,
      start: number | undefined,
      end: number | undefined,
      callback: Callback<IMAPMessage[]>,
    ): void;
    /** The raw message; undefined when there is no such message. Throws an Error "Error code: N". */
    fetchMessageByUID(folder: string, uid: number): Data | undefined;
    /**
     * The asynchronous twin of `fetchMessageByUID`: undefined when there is no such message; a failure is an Error
     * "Error code: N".
     */
    fetchMessageByUIDAsync(folder: string, uid: number, callback: Callback<Data | undefined>): void;
    /** As `fetchMessageByUID`, by sequence number. */
    fetchMessageByNumber(folder: string, sequenceNumber: number): Data | undefined;
    /** Whether the server can report vanished messages (RFC 7162). */
    isQResyncEnabled(): boolean;
    /**
     * What has changed since a modification sequence (RFC 7162), in the range from `start` (1) to `end` (the
     * last UID), which is read as that of `fetchMessagesByUID`; so is what is fetched of each message. Throws an Error
     * "Error code: N".
     */
    syncMessagesByUID(folder: string, modSequence: number, start?: number, end?: number): IMAPSyncResult;
    /** As `syncMessagesByUID`, but always over all UIDs; a failure is an Error "Error code: N". */
    syncMessagesByUIDAsync(folder: string, modSequence: number, callback: Callback<IMAPSyncResult>): void;
    /**
     * @param kind One of `StoreFlagsKind`: 0 add, 1 remove, 2 set.
     * @param flags Bits of `MessageFlag`.
     * @returns 0, or an `ErrorCode`.
     */
    storeFlagsByUID(folder: string, uid: number, kind: number, flags: number): number;
    /** The asynchronous twin of `storeFlagsByUID`; a failure is an Error "Error code: N". */
    storeFlagsByUIDAsync(folder: string, uid: number, kind: number, flags: number, callback: Callback<number>): void;
    /** As `storeFlagsByUID`, by sequence number. */
    storeFlagsByNumber(folder: string, sequenceNumber: number, kind: number, flags: number): number;
    /**
     * Copies the messages with UIDs `start` to `start + length`, both included.
     * @param length 1 when not given, so that two UIDs are copied; 0 copies `start` alone.
     * @returns 0, or an `ErrorCode`.
     */
    copyMessages(folder: string, destination: string, start: number, length?: number): number;
    /**
     * Uploads a message, over a connection of its own once the session has selected the folder. It logs in with user
     * name and password whatever `authType` says, but for 64, which sends `OAuth2Token` where that is set. In strict
     * GOST mode it writes a line to standard error.
     * @param flags Not sent; the server's defaults apply.
     * @returns The UID of the new message. Throws an Error whose message is the bare error code, or "Eror append message:
     * hostname is not specified!" when the host name has gone from a session that is connected.
     */
    appendMessage(folder: string, message: Data, flags: number): number;
    /**
     * The asynchronous twin of `appendMessage`; a failure is an Error "Error code: N", or "Unknown error while fetching
     * messages" when the host name has gone.
     */
    appendMessageAsync(folder: string, message: Data, flags: number, callback: Callback<number>): void;
    /** Removes the messages flagged as deleted. @returns 0, or an `ErrorCode`. */
    expunge(folder: string): number;
    /** The asynchronous twin of `expunge`; a failure is an Error "Error code: N". */
    expungeAsync(folder: string, callback: Callback<number>): void;
    /** Asks the server. Throws an Error "Unable to obtain capabilities. Error code: N". */
    capabilityMove(): boolean;
    /** Whether folders can be created with a special use. Asks the server; throws as `capabilityMove` does. */
    capabilityCreateSpecialUse(): boolean;
  }

  /** One mailbox of a folder listing. */
  class IMAPFolder {
    constructor();
    /** In its wire form (modified UTF-7); "" when not set. */
    path: string;
    /** One character, U+0000 for none; setting keeps the first byte of the text. */
    delimiter: string;
    /** Bits of `FolderFlag`. */
    flags: number;
    /** A readable text for logs. */
    description(): string;
  }

  /** The values that selecting a folder yields. */
  class IMAPFolderInfo {
    constructor();
    /** The UID that the next message will get at the earliest. */
    uidNext: number;
    /** UIDs of the folder are comparable while this value stays the same. */
    uidValidity: number;
    /** The highest modification sequence (RFC 7162); rounded above 2^53. */
    modSequenceValue: number;
    /** The number of messages in the folder. */
    messageCount: number;
    /** The UID of the first message not seen; 0 when unknown. */
    firstUnseenUid: number;
    /** Whether keywords of one's own can be stored. */
    allowsNewPermanentFlags: boolean;
  }

  /** The values of a STATUS query. */
  class IMAPFolderStatus {
    constructor();
    /** The number of messages not seen. */
    unseenCount: number;
    /** The number of messages in the folder. */
    messageCount: number;
    /** The number of messages that are new since the last session. */
    recentCount: number;
    /** The UID that the next message will get at the earliest. */
    uidNext: number;
    /** UIDs of the folder are comparable while this value stays the same. */
    uidValidity: number;
    /** 0 where the server keeps no modification sequences; rounded above 2^53. */
    highestModSeqValue: number;
    /** A readable text for logs. */
    description(): string;
  }

  /** One message as the server describes it; a snapshot, so setters change this object alone. */
  class IMAPMessage {
    constructor();
    /** The message's position in the folder, from 1, when it was fetched. */
    sequenceNumber: number;
    /** The message's unique identifier in its folder. */
    uid: number;
    /** In bytes. */
    size: number;
    /** Bits of `MessageFlag`. */
    flags: number;
    /** The flags as fetched. */
    originalFlags: number;
    /**
     * The message as sanitised HTML; fetches the parts it needs through the session that fetched the message
     * and blocks meanwhile. "" when there is nothing to show.
     * @param folder The folder that holds the message.
     */
    htmlRendering(folder: string): string;
    /** A readable text for logs. */
    description(): string;
  }

  /** The header of a message (RFC 5322). Texts are decoded; "" or [] where a field is missing. */
  class MessageHeader {
    constructor();
    /** Without angle brackets. */
    messageID: string;
    /** Identifiers of the messages that this one answers, without angle brackets. */
    inReplyTo: string[];
    /** Identifiers of the conversation, oldest first, without angle brackets. */
    references: string[];
    /** Whole seconds; undefined when there is no readable date. */
    get date(): Date | undefined;
    /** Whole seconds are kept. */
    set date(value: Date);
    /** One second before the epoch when not set. */
    receivedDate: Date;
    /**
     * Reads as `Name <mailbox>`, or the bare mailbox. What is set is taken as a bare mailbox, whatever it
     * holds; `from`, `to`, `cc`, `bcc` and `replyTo` do the same.
     */
    sender: string;
    /** As `sender`: the author. */
    from: string;
    /** As `sender`, one text a recipient; groups are flattened. */
    to: string[];
    /** As `to`. */
    cc: string[];
    /** Never written into a built message. */
    bcc: string[];
    /** As `to`: where answers should go. */
    replyTo: string[];
    /** Decoded. */
    subject: string;
    /** The User-Agent field, else X-Mailer. */
    userAgent: string;
    /** The fields that have no property of their own. */
    readonly extraHeaders: { [name: string]: string };
    /** Replaces the field of that name (case ignored), or adds it. */
    setExtraHeader(name: string, value: string): void;
    /** Removes the field of that name (case ignored). */
    removeExtraHeader(name: string): void;
    /** "" when absent; case of the name is ignored. */
    extraHeaderValueForName(name: string): string;
  }

  /** What a signature says about itself. */
  interface ExtendedSignInfo {
    /** Signing time as `2026-11-21T07:46:45Z`; "" when the signature has none. */
    creationDate: string;
    /** For instance "RSA", "ECDSA", "GOST R 34.10-2012 256"; else the dotted object identifier. */
    signAlg: string;
    /** For instance "SHA-256", "GOST R 34.11-2012 256"; else the dotted object identifier. */
    hashAlg: string;
  }

  /**
   * A received message. Don't touch a parser while an asynchronous read or import of it runs. After a failed
   * read or import it is empty.
   */
  class MessageParser {
    constructor();
    /** Leaves encrypted messages closed. Kept by imports, reset by reads. */
    doNotDecrypt: boolean;
    /** "kupNone", "kupKeyUsage", "kupEmail" or "kupStrict". Kept by imports, reset by reads. */
    keyUsagePolicy: string;
    /** A copy at each read. */
    readonly header: MessageHeader;
    /** Always undefined. */
    readonly mainPart: undefined;
    /** What a reader would call the attachments of the message; each has a file name. */
    readonly attachments: Attachment[];
    /** What the HTML body shows inside itself. */
    readonly htmlInlineAttachments: Attachment[];
    /** Always undefined. */
    readonly requiredPartsForRendering: undefined;
    /** Whether the message as a whole is signed. */
    readonly isSigned: boolean;
    /** Whether the message as a whole is encrypted. */
    readonly isEncrypted: boolean;
    /**
     * Whether all signatures of the whole message are good and lead to a trusted certificate. It does not
     * compare the signer with the From field: see `signerCertificate`.
     */
    readonly verifyResult: boolean;
    /** DER. */
    readonly signerCertificate: Buffer | undefined;
    /** Undefined for an unsigned message. */
    readonly extendedSignInfo: ExtendedSignInfo | undefined;
    /** Whether all encryption was opened. */
    readonly decryptResult: boolean;
    /** "" when nothing was encrypted or all was opened, else why not. */
    readonly decryptMessage: string;
    /**
     * Where temporary files would go. There are none: messages are worked on in memory, which takes at most twice
     * their size, and nothing decrypted is written to disk.
     */
    SetTempFolder(path: string): void;
    /** Throws an Error "File was not imported" or "Error while reading message data". */
    Read(path: string): void;
    /** The asynchronous twin of `Read`. */
    ReadAsync(path: string, callback: Callback): void;
    /** Throws an Error "Data was not imported" or "Error while importing message data". */
    Import(buffer: Buffer): void;
    /**
     * The asynchronous twin of `Import`; the buffer may be changed at once. Without a callback the import takes
     * effect all the same, and nobody is told.
     */
    ImportAsync(buffer: Buffer, callback?: Callback): void;
    /** The whole message as safe HTML: it runs no script and fetches nothing. */
    HtmlRendering(): string;
    /** The body alone as a safe HTML fragment. */
    HtmlBodyRendering(): string;
    /** Header and body as text, with a line for each embedded message; other attachments are not named. */
    PlainTextRendering(): string;
    /** The body alone as text; HTML reads as a person would have written it. */
    PlainTextBodyRendering(): string;
    /** Back to an empty parser with default settings. */
    clear(): void;
  }

  /** One leaf part of a message. */
  class Attachment {
    /**
     * @param content Copied.
     * @param filename Decides the MIME type. Given as undefined it becomes the text "undefined".
     */
    constructor(content?: Buffer, filename?: string);
    /** The IMAP section number; undefined unless set. */
    get partId(): string | undefined;
    /** Any text. */
    set partId(value: string);
    /** The content, as a private copy at each read; undefined when there is none. */
    get data(): Buffer | undefined;
    /** Copied. */
    set data(value: Buffer);
    /** The content as text, by `charset` or by detection. */
    readonly decodedString: string;
    /** The file name; "" when there is none. */
    filename: string;
    /** Lower case, without parameters. */
    mimeType: string;
    /** The character set of a text part, such as "utf-8". */
    charset: string;
    /** Distinguishes the parts of one message. */
    uniqeID: string;
    /** Without angle brackets. */
    contentID: string;
    /** The Content-Location (RFC 2557). */
    contentLocation: string;
    /** The Content-Description (RFC 2045). */
    contentDescription: string;
  }

  /** Composes a message. Don't change a builder while one of its asynchronous methods runs. */
  class MessageBuilder {
    constructor();
    /** A copy at each read; assign it back after changing it. */
    get header(): MessageHeader | undefined;
    /** Stores a copy. */
    set header(value: MessageHeader);
    /** The HTML body; "" for none. */
    htmlBody: string;
    /** The plain-text body; "" for none. */
    textBody: string;
    /** Setting stores copies of the attachments. */
    attachments: Attachment[];
    /** Shown inside the HTML body, by their Content-ID. */
    relatedAttachments: Attachment[];
    /** Begins every boundary of the message. */
    boundaryPrefix: string;
    /** The built message. Throws an Error when it cannot be built. */
    readonly data: Buffer;
    /** "kupNone", "kupKeyUsage", "kupEmail" or "kupStrict": what certificates must allow. */
    keyUsagePolicy: string;
    /** Adds copies of the attachments. */
    addAttachments(list: Attachment[]): void;
    /** Adds copies of the related attachments. */
    addRelatedAttachments(list: Attachment[]): void;
    /** The asynchronous twin of `data`; a failure is an Error "Error while buiding message data". */
    getDataAsync(callback: Callback<Buffer>): void;
    /** Reports no failure; the file is written whole or not at all. */
    Write(path: string): void;
    /** The asynchronous twin of `Write`; an Error "Error while reading message data" when the message cannot be built. */
    WriteAsync(path: string, callback: Callback): void;
    /**
     * Signs with this certificate.
     * @param cert PEM text, a SHA-1 or SHA-256 thumbprint of the store, a file, an address, or base64.
     * @param second The password of the key, or the private key as PEM text.
     */
    SetSignerCert(cert: string, second?: string): void;
    /** Encrypts for these certificates, each in one of the forms of `SetSignerCert`. */
    SetRecipientsCerts(list: string[]): void;
    /**
     * Where temporary files would go. There are none: messages are worked on in memory, which takes at most twice
     * their size, and nothing decrypted is written to disk.
     */
    SetTempFolder(path: string): void;
  }

  /** What has changed in a folder. */
  class IMAPSyncResult {
    constructor();
    /** New objects at each read. */
    readonly modifiedOrAddedMessages: IMAPMessage[];
    /**
     * UIDs in ascending order. Empty where the server cannot tell. More than 2^24 are not believed and throw an Error
     * "Too many vanished messages".
     */
    readonly vanishedMessages: number[];
  }

  /** One message of a POP3 listing. */
  class POPMessageInfo {
    constructor();
    /** The message number, from 1. */
    index: number;
    /** The server's unique identifier; "" where it has none. */
    uid: string;
    /** The same as `uid`. */
    UID: string;
    /** In bytes. */
    size: number;
  }

  /**
   * Blocking access to a POP3 mailbox (RFC 1939). Deletions take effect with `disconnect`; a session that is
   * dropped without it deletes nothing. Every method connects and logs in by itself where that has not happened.
   *
   * A message is named by its number, which holds for one connection, or by an entry of a listing, which is refused
   * when its identifier belongs to another message by now.
   */
  class POPSession implements ConnectionSettings {
    constructor();
    hostname: string;
    port: number;
    /** The account name. */
    username: string;
    /** The password of the account; never logged. */
    password: string;
    /** On by default. */
    checkCertificateEnabled: boolean;
    /** One of `AuthType`; 0 takes the best that the server offers. */
    authType: number;
    connectionType: number;
    /** Seconds without progress after which an operation fails; 30 by default, and for 0 and less. */
    timeout: number;
    strictGost: boolean;
    /** Connects without logging in. @returns 0, or an `ErrorCode`. */
    connect(): number;
    /**
     * Connects first where needed. After a refusal the connection is closed.
     * @returns 0, or an `ErrorCode`: `MailboxInUse` when another session holds the mailbox.
     */
    login(): number;
    /**
     * Tries connection and login and leaves no connection behind. A session that is logged in only asks whether it
     * still is.
     * @returns 0, or an `ErrorCode`.
     */
    checkAccount(): number;
    /** The messages of the mailbox, at most 2^20. Throws an Error "Error code: N". */
    fetchMessages(): POPMessageInfo[];
    /** The header alone, where the server has TOP. Undefined when the message cannot be had, for whatever reason. */
    fetchHeader(message: number | POPMessageInfo): MessageHeader | undefined;
    /** The raw message; undefined when it cannot be had, for whatever reason. */
    fetchMessage(message: number | POPMessageInfo): Data | undefined;
    /** Marks the message; it goes with `disconnect`. @returns 0, or an `ErrorCode`. */
    deleteMessage(message: number | POPMessageInfo): number;
    /** Keeps the connection alive, or opens one. @returns 0, or an `ErrorCode`. */
    noop(): number;
    /** Ends the session with QUIT: deletions take effect. */
    disconnect(): void;
  }
}

export = velkor_brennox2;
