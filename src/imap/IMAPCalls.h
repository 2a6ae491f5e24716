// The operations of IMAPSession, each as what its blocking method and its asynchronous twin share:
// the constructor checks the arguments (script thread), Run calls the library (any thread, no
// script value in sight), Check throws what the blocking method throws for a failure, Result is the
// value for the script (script thread). `Twin...` calls differ from their blocking form in what
// their comment says.
#pragma once

#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/ErrorCode.h>
#include <brennox/IMAPFolderStatus.h>
#include <brennox/IMAPSession.h>
#include <brennox/IMAPSyncResult.h>
#include <brennox/IndexSet.h>
#include <brennox/Ref.h>
#include <napi.h>

#include <cstdint>
#include <optional>
#include <string>

namespace velkor {

struct IMAPCall {
  // Nothing is thrown by methods that report the error code.
  void Check(Napi::Env, brennox::ErrorCode) const {}
};

// Calls whose result is the error code.
struct CodeCall : IMAPCall {
  static Napi::Value Result(Napi::Env env, brennox::ErrorCode error);
};

struct DisconnectCall : IMAPCall {
  explicit DisconnectCall(const Napi::CallbackInfo&) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  static Napi::Value Result(Napi::Env env, brennox::ErrorCode error);
};

// A call without arguments.
template <void (brennox::IMAPSession::*kOperation)(brennox::ErrorCode*)>
struct PlainCall : CodeCall {
  explicit PlainCall(const Napi::CallbackInfo&) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
    (session.*kOperation)(error);
  }
};
using LoginIfNeededCall = PlainCall<&brennox::IMAPSession::loginIfNeeded>;
using ConnectIfNeededCall = PlainCall<&brennox::IMAPSession::connectIfNeeded>;

// A call with a folder's name.
struct FolderArgument : CodeCall {
  explicit FolderArgument(const Napi::CallbackInfo& info,
                          const char* text = "first parameter must be a string");
  std::string folder;
};

template <void (brennox::IMAPSession::*kOperation)(brennox::String*, brennox::ErrorCode*)>
struct FolderCall : FolderArgument {
  explicit FolderCall(const Napi::CallbackInfo& info) : FolderArgument(info) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
};
using CreateFolderCall = FolderCall<&brennox::IMAPSession::createFolder>;
using DeleteFolderCall = FolderCall<&brennox::IMAPSession::deleteFolder>;
using SubscribeFolderCall = FolderCall<&brennox::IMAPSession::subscribeFolder>;
using UnsubscribeFolderCall = FolderCall<&brennox::IMAPSession::unsubscribeFolder>;

struct RenameFolderCall : CodeCall {
  explicit RenameFolderCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  std::string oldName;
  std::string newName;
};

struct CreateSpecialFolderCall : FolderArgument {
  explicit CreateSpecialFolderCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  unsigned int kind;
};

struct ExpungeCall : FolderArgument {
  explicit ExpungeCall(const Napi::CallbackInfo& info, const char* text = "Wrong arguments")
      : FolderArgument(info, text) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
};
// With texts of its own.
struct TwinExpungeCall : ExpungeCall {
  explicit TwinExpungeCall(const Napi::CallbackInfo& info);
};

// Calls with a result that is null on failure. `kResult` converts what is not null.
template <class Library>
struct ResultCall : IMAPCall {
  // "Error code: %d"
  void Check(Napi::Env env, brennox::ErrorCode error) const;
  brennox::Ref<Library> result;
};

template <brennox::Array* (brennox::IMAPSession::*kOperation)(brennox::ErrorCode*)>
struct FetchFoldersCall : ResultCall<brennox::Array> {
  explicit FetchFoldersCall(const Napi::CallbackInfo&) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
    result = (session.*kOperation)(error);
  }
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
};
using FetchAllFoldersCall = FetchFoldersCall<&brennox::IMAPSession::fetchAllFolders>;
using FetchSubscribedFoldersCall = FetchFoldersCall<&brennox::IMAPSession::fetchSubscribedFolders>;

struct FolderStatusCall : ResultCall<brennox::IMAPFolderStatus> {
  static constexpr char kNullText[] = "Folder status is NULL";
  explicit FolderStatusCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
};

struct MoveMessagesCall : IMAPCall {
  explicit MoveMessagesCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  void Check(Napi::Env env, brennox::ErrorCode error) const;
  // Undefined when the server does not tell the new UID.
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
  std::uint32_t uid;
  std::string destination;
  std::optional<std::uint32_t> newUid;
};

struct FetchMessagesByUIDCall : ResultCall<brennox::Array> {
  static constexpr char kNullText[] = "Fetched messages array is NULL";
  explicit FetchMessagesByUIDCall(const Napi::CallbackInfo& info)
      : FetchMessagesByUIDCall(info, info.Length()) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
  brennox::Range range;

 protected:
  // Only the first `count` arguments are looked at.
  FetchMessagesByUIDCall(const Napi::CallbackInfo& info, std::size_t count);
};
// The last argument is the callback, wherever the range ends.
struct TwinFetchMessagesByUIDCall : FetchMessagesByUIDCall {
  explicit TwinFetchMessagesByUIDCall(const Napi::CallbackInfo& info)
      : FetchMessagesByUIDCall(info, info.Length() == 0 ? 0 : info.Length() - 1) {}
};

using FetchOneMessage = brennox::Data* (brennox::IMAPSession::*)(brennox::String*, unsigned int,
                                                                 brennox::IMAPProgressCallback*,
                                                                 brennox::ErrorCode*);
template <FetchOneMessage kOperation>
struct FetchMessageCall : ResultCall<brennox::Data> {
  explicit FetchMessageCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
  std::uint32_t number;
};
using FetchMessageByUIDCall = FetchMessageCall<&brennox::IMAPSession::fetchMessageByUID>;
using FetchMessageByNumberCall = FetchMessageCall<&brennox::IMAPSession::fetchMessageByNumber>;

struct SyncMessagesByUIDCall : ResultCall<brennox::IMAPSyncResult> {
  explicit SyncMessagesByUIDCall(const Napi::CallbackInfo& info)
      : SyncMessagesByUIDCall(info, info.Length()) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
  std::uint64_t modSequence;
  brennox::Range range;

 protected:
  SyncMessagesByUIDCall(const Napi::CallbackInfo& info, std::size_t count);
};
// Takes no range: always every UID.
struct TwinSyncMessagesByUIDCall : SyncMessagesByUIDCall {
  explicit TwinSyncMessagesByUIDCall(const Napi::CallbackInfo& info)
      : SyncMessagesByUIDCall(info, 0) {}
};

using StoreFlags = void (brennox::IMAPSession::*)(brennox::String*, brennox::IndexSet*,
                                                  brennox::IMAPStoreFlagsRequestKind,
                                                  brennox::MessageFlag, brennox::ErrorCode*);
template <StoreFlags kOperation>
struct StoreFlagsCall : CodeCall {
  explicit StoreFlagsCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  std::string folder;
  std::uint32_t number;
  brennox::IMAPStoreFlagsRequestKind kind;
  brennox::MessageFlag flags;
};
using StoreFlagsByUIDCall = StoreFlagsCall<&brennox::IMAPSession::storeFlagsByUID>;
using StoreFlagsByNumberCall = StoreFlagsCall<&brennox::IMAPSession::storeFlagsByNumber>;

struct CopyMessagesCall : CodeCall {
  explicit CopyMessagesCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  std::string folder;
  std::string destination;
  // The fourth argument is the range's length here, not its end.
  brennox::Range range;
};

struct AppendMessageCall : IMAPCall {
  explicit AppendMessageCall(const Napi::CallbackInfo& info);
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  // The code's digits alone; scripts match on them.
  void Check(Napi::Env env, brennox::ErrorCode error) const;
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  std::string folder;
  brennox::Ref<brennox::Data> message;
  std::uint32_t flags;
  std::uint32_t uid = 0;
};

// Whether the server has a capability; asks it anew at each call.
struct CapabilityCall : IMAPCall {
  explicit CapabilityCall(brennox::IMAPCapability index) : capability(index) {}
  void Run(brennox::IMAPSession& session, brennox::ErrorCode* error);
  void Check(Napi::Env env, brennox::ErrorCode error) const;
  Napi::Value Result(Napi::Env env, brennox::ErrorCode error) const;
  brennox::IMAPCapability capability;
  bool isThere = false;
};
struct CapabilityMoveCall : CapabilityCall {
  explicit CapabilityMoveCall(const Napi::CallbackInfo&)
      : CapabilityCall(brennox::IMAPCapabilityMove) {}
};
struct CapabilityCreateSpecialUseCall : CapabilityCall {
  explicit CapabilityCreateSpecialUseCall(const Napi::CallbackInfo&)
      : CapabilityCall(brennox::IMAPCapabilityCreateSpecialUse) {}
};

}  // namespace velkor
