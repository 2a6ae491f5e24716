#include "imap/WIMAPSession.h"

#include <brennox/IndexSet.h>

#include <utility>

#include "imap/IMAPCalls.h"
#include "imap/SimpleAsyncWorker.h"
#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPSession::Define(Napi::Env env) {
  using S = brennox::IMAPSession;
  using W = WIMAPSession;
  const Members members = {
      Hostname(),
      Port(),
      Username(),
      Password(),
      CheckCertificateEnabled(),
      OAuth2Token(),
      AuthType(),
      ConnectionType(),
      StrictGost(),

      Method<&W::Block<DisconnectCall>>("disconnect"),
      Method<&W::Queue<DisconnectCall, 0>>("disconnectAsync"),
      Getter<Flag, &S::isDisconnected>("isDisconnected"),
      Method<&W::Block<LoginIfNeededCall>>("loginIfNeeded"),
      Method<&W::Queue<LoginIfNeededCall, 0>>("loginIfNeededAsync"),
      Method<&W::Block<ConnectIfNeededCall>>("connectIfNeeded"),
      Method<&W::Queue<ConnectIfNeededCall, 0>>("connectIfNeededAsync"),
      Method<&W::Block<RenameFolderCall>>("renameFolder"),
      Method<&W::Block<CreateFolderCall>>("createFolder"),
      Method<&W::Block<CreateSpecialFolderCall>>("createSpecialFolder"),
      Method<&W::Block<DeleteFolderCall>>("deleteFolder"),
      Method<&W::Block<SubscribeFolderCall>>("subscribeFolder"),
      Method<&W::Block<UnsubscribeFolderCall>>("unsubscribeFolder"),
      Method<&W::Block<FetchSubscribedFoldersCall>>("fetchSubscribedFolders"),
      Method<&W::Block<FetchAllFoldersCall>>("fetchAllFolders"),
      Method<&W::Queue<FetchAllFoldersCall, 0>>("fetchAllFoldersAsync"),
      Method<&W::Block<FolderStatusCall>>("folderStatus"),
      Method<&W::Queue<FolderStatusCall, 1>>("folderStatusAsync"),
      Method<&W::Block<MoveMessagesCall>>("moveMessages"),
      Method<&W::QueueCounted<MoveMessagesCall, 3>>("moveMessagesAsync"),
      Method<&W::Block<FetchMessagesByUIDCall>>("fetchMessagesByUID"),
      Method<&W::Queue<TwinFetchMessagesByUIDCall, 1>>("fetchMessagesByUIDAsync"),
      Method<&W::Block<FetchMessageByUIDCall>>("fetchMessageByUID"),
      Method<&W::Queue<FetchMessageByUIDCall, 2>>("fetchMessageByUIDAsync"),
      Method<&W::Block<FetchMessageByNumberCall>>("fetchMessageByNumber"),
      Method<&W::IsQResyncEnabled>("isQResyncEnabled"),
      Method<&W::Block<SyncMessagesByUIDCall>>("syncMessagesByUID"),
      Method<&W::Queue<TwinSyncMessagesByUIDCall, 2>>("syncMessagesByUIDAsync"),
      Method<&W::Block<StoreFlagsByUIDCall>>("storeFlagsByUID"),
      Method<&W::QueueCounted<StoreFlagsByUIDCall, 4>>("storeFlagsByUIDAsync"),
      Method<&W::Block<StoreFlagsByNumberCall>>("storeFlagsByNumber"),
      Method<&W::Block<CopyMessagesCall>>("copyMessages"),
      Method<&W::Block<AppendMessageCall>>("appendMessage"),
      Method<&W::QueueCounted<AppendMessageCall, 3>>("appendMessageAsync"),
      Method<&W::Block<ExpungeCall>>("expunge"),
      Method<&W::Queue<TwinExpungeCall, 1>>("expungeAsync"),
      Method<&W::Block<CapabilityMoveCall>>("capabilityMove"),
      Method<&W::Block<CapabilityCreateSpecialUseCall>>("capabilityCreateSpecialUse"),
  };
  return DefineClass(env, kName, members);
}

template <class Call>
Napi::Value WIMAPSession::Block(const Napi::CallbackInfo& info) {
  Call call(info);
  brennox::ErrorCode error = brennox::ErrorNone;
  call.Run(*held(), &error);
  call.Check(info.Env(), error);
  return call.Result(info.Env(), error);
}

template <std::size_t kPosition>
Napi::Function WIMAPSession::Callback(const Napi::CallbackInfo& info, const char* text) {
  const std::size_t last = info.Length() == 0 ? 0 : info.Length() - 1;
  return FunctionArgument(info, info[last].IsFunction() ? last : kPosition, text);
}

template <class Call, std::size_t kPosition>
void WIMAPSession::Queue(const Napi::CallbackInfo& info) {
  Call call(info);
  const Napi::Function callback =
      Callback<kPosition>(info, "last parameter must be a callback function");
  Start<CallWorker<Call>>(info, *held(), std::move(call), callback);
}

template <class Call, std::size_t kPosition>
void WIMAPSession::QueueCounted(const Napi::CallbackInfo& info) {
  Require(info.Length() > kPosition, info.Env(), "Wrong number of arguments");
  Call call(info);
  const Napi::Function callback = Callback<kPosition>(info, "Wrong arguments");
  Start<CallWorker<Call>>(info, *held(), std::move(call), callback);
}

Napi::Value WIMAPSession::IsQResyncEnabled(const Napi::CallbackInfo& info) {
  brennox::IndexSet* const stored = held()->storedCapabilities();
  return Flag::ToScript(
      info.Env(), held()->isQResyncEnabled() ||
                      (stored != nullptr && stored->containsIndex(brennox::IMAPCapabilityQResync)));
}

}  // namespace velkor
