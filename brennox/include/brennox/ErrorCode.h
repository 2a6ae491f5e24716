// Every error code of the library, in one list. Scripts see them as numbers.
#pragma once

namespace brennox {

enum ErrorCode : int {
  ErrorNone = 0,
  // The server could not be reached, or the connection was lost.
  ErrorConnection = 1,
  // TLS was asked for and the server, or this machine, cannot do it (strict GOST without an
  // engine).
  ErrorTLSNotAvailable = 2,
  // The server's answer could not be understood.
  ErrorParse = 3,
  // The server's certificate is not trusted or belongs to another host.
  ErrorCertificate = 4,
  // The user name, password or token was refused.
  ErrorAuthentication = 5,
  // The server offers no authentication mechanism that fits the setting.
  ErrorAuthenticationMechanism = 6,
  // The server reports the account as temporarily unavailable or throttled.
  ErrorAccountUnavailable = 7,
  // SELECT or EXAMINE was refused: no such folder, or no right to read it.
  ErrorFolderNotFound = 8,
  ErrorRename = 9,
  ErrorDelete = 10,
  ErrorCreate = 11,
  ErrorSubscribe = 12,
  ErrorUnsubscribe = 13,
  ErrorList = 14,
  ErrorFetch = 15,
  ErrorAppend = 16,
  ErrorCopy = 17,
  ErrorMove = 18,
  ErrorStore = 19,
  ErrorExpunge = 20,
  ErrorStatus = 21,
  ErrorSync = 22,
  ErrorCapability = 23,
  ErrorNoop = 24,
  // STARTTLS was asked for and the server does not offer it.
  ErrorStartTLSNotAvailable = 25,
  // The arguments of a call make no valid command (a line break in a name, an empty set).
  ErrorInvalidArgument = 26,
  // The operation was cancelled, or its session was disconnected from another thread.
  ErrorCancelled = 27,
  // The server sent more than was asked for or than is allowed.
  ErrorLimitExceeded = 28,
  // The folder is over quota.
  ErrorQuota = 29,
  ErrorSendMessage = 30,
  // A file could not be read or written.
  ErrorFile = 31,
  // POP3: the mailbox is locked by another session ([IN-USE]).
  ErrorMailboxInUse = 32,
  // POP3: listing, fetching or deleting was refused.
  ErrorFetchMessageList = 33,
  ErrorDeleteMessage = 34,
  // The server ended the session (BYE) while a command was running.
  ErrorServerClosed = 35,
  // The message could not be built (MIME or cryptography).
  ErrorBuild = 36,
};

}  // namespace brennox
