// Blocking access to an IMAP account (RFC 3501, RFC 9051).
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/Flags.h>
#include <brennox/Ref.h>
#include <brennox/Session.h>

#include <cstdint>
#include <memory>

namespace brennox {

class Array;
class Data;
class HashMap;
class IMAPFolderInfo;
class IMAPFolderStatus;
class IMAPPart;
class IMAPProgressCallback;
class IMAPSyncResult;
class IndexSet;
class String;

// Operations may be called from any thread: they are serialised and queue. Each connects and logs
// in by itself when that has not happened yet; a lost connection is reported as ErrorConnection and
// heals with the next call. Results are autoreleased; where a result is null the error code says
// why. Folder names are in their wire form (modified UTF-7).
class BRENNOX_EXPORT IMAPSession : public Session {
 public:
  IMAPSession();
  ~IMAPSession() override;

  // Keeps the session to this thread for as long as it lives, for work that is more than one
  // operation. Those of other threads wait.
  class BRENNOX_EXPORT Exclusive {
   public:
    explicit Exclusive(IMAPSession* session);
    ~Exclusive();
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

   private:
    Ref<IMAPSession> session_;
    bool outermost_;
  };

  // Connection.
  virtual void connectIfNeeded(ErrorCode* error);
  virtual void loginIfNeeded(ErrorCode* error);
  // Waits for running and queued operations, then says goodbye.
  virtual void disconnect();
  // Also true when the server has ended the connection meanwhile.
  virtual bool isDisconnected();
  // Ends a running operation of another thread with ErrorCancelled.
  virtual void cancel();
  virtual void noop(ErrorCode* error);
  virtual IndexSet* capability(ErrorCode* error);
  // The set last heard from the server; null before the first connection.
  virtual IndexSet* storedCapabilities();
  virtual bool isQResyncEnabled();

  // Folders.
  virtual Array* fetchAllFolders(ErrorCode* error);
  virtual Array* fetchSubscribedFolders(ErrorCode* error);
  virtual void createFolder(String* folder, ErrorCode* error);
  // `kind` is one of the special-use bits of IMAPFolderFlag (RFC 6154).
  virtual void createSpecialFolder(String* folder, unsigned int* kind, ErrorCode* error);
  virtual void renameFolder(String* folder, String* newName, ErrorCode* error);
  virtual void deleteFolder(String* folder, ErrorCode* error);
  virtual void subscribeFolder(String* folder, ErrorCode* error);
  virtual void unsubscribeFolder(String* folder, ErrorCode* error);
  virtual IMAPFolderStatus* folderStatus(String* folder, ErrorCode* error);
  // Selecting the selected folder again asks the server afresh for UIDNEXT. selectIfNeeded() does
  // so, too, unless appended() has just told it.
  virtual void select(String* folder, ErrorCode* error);
  virtual void selectIfNeeded(String* folder, ErrorCode* error);
  // A message was appended to the selected folder over another connection, and this is the line
  // with which the server completed that. Returns the UID that it names for the message (RFC 4315);
  // 0 when it names none for this folder.
  virtual std::uint32_t appended(String* folder, const char* answer);
  virtual IMAPFolderInfo* folderInfo(String* folder, ErrorCode* error);
  // Of the selected folder.
  virtual std::uint32_t uidNext();
  virtual std::uint32_t uidValidity();
  virtual std::uint64_t modSequenceValue();

  // Messages.
  virtual Array* fetchMessagesByUID(String* folder, IMAPMessagesRequestKind kind, IndexSet* uids,
                                    IMAPProgressCallback* progress, ErrorCode* error);
  virtual Array* fetchMessagesByNumber(String* folder, IMAPMessagesRequestKind kind,
                                       IndexSet* numbers, IMAPProgressCallback* progress,
                                       ErrorCode* error);
  // The raw message; null with ErrorNone when there is no such message.
  virtual Data* fetchMessageByUID(String* folder, unsigned int uid, IMAPProgressCallback* progress,
                                  ErrorCode* error);
  virtual Data* fetchMessageByNumber(String* folder, unsigned int number,
                                     IMAPProgressCallback* progress, ErrorCode* error);
  // The content of one part, transfer encoding removed.
  virtual Data* fetchPartByUID(String* folder, unsigned int uid, IMAPPart* part, ErrorCode* error);
  // The contents of several parts in one round trip: a map from part ID to Data, without those that
  // the server does not have.
  virtual HashMap* fetchPartsByUID(String* folder, unsigned int uid, Array* parts,
                                   ErrorCode* error);
  virtual IMAPSyncResult* syncMessagesByUID(String* folder, IMAPMessagesRequestKind kind,
                                            IndexSet* uids, std::uint64_t modSequence,
                                            IMAPProgressCallback* progress, ErrorCode* error);
  virtual void storeFlagsByUID(String* folder, IndexSet* uids, IMAPStoreFlagsRequestKind kind,
                               MessageFlag flags, ErrorCode* error);
  virtual void storeFlagsByNumber(String* folder, IndexSet* numbers, IMAPStoreFlagsRequestKind kind,
                                  MessageFlag flags, ErrorCode* error);
  // `uidMapping` receives an autoreleased map from old to new UID (Value of unsigned int), or null
  // when the server does not tell (no UIDPLUS). Moving never expunges other messages.
  virtual void copyMessages(String* folder, IndexSet* uids, String* destination,
                            HashMap** uidMapping, ErrorCode* error);
  virtual void moveMessages(String* folder, IndexSet* uids, String* destination,
                            HashMap** uidMapping, ErrorCode* error);
  virtual void expunge(String* folder, ErrorCode* error);

 protected:
  const char* className() const override { return "IMAPSession"; }

 private:
  struct State;
  class Operation;
  Data* fetchMessage(String* folder, unsigned int number, bool byUid,
                     IMAPProgressCallback* progress, ErrorCode* error);
  std::unique_ptr<State> state_;
};

}  // namespace brennox
