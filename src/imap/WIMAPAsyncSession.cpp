#include "imap/WIMAPAsyncSession.h"

#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/IndexSet.h>
#include <brennox/RunLoop.h>
#include <brennox/String.h>

#include <chrono>

#include "imap/TestIMAPCallback.h"
#include "main/Kinds.h"

namespace velkor {
namespace {

constexpr auto kRequestKind = static_cast<brennox::IMAPMessagesRequestKind>(
    brennox::IMAPMessagesRequestKindFlags | brennox::IMAPMessagesRequestKindHeaders |
    brennox::IMAPMessagesRequestKindStructure | brennox::IMAPMessagesRequestKindInternalDate |
    brennox::IMAPMessagesRequestKindHeaderSubject);

// How long it can go unnoticed that the environment is being ended.
constexpr std::chrono::milliseconds kInterval{100};

// False once the environment is being ended (worker.terminate(), process.exit() elsewhere).
// Node-API refuses to look at properties then; asking runs no script.
bool MayRunScript(Napi::Env env, napi_value object) {
  bool has = false;
  napi_value name;
  return napi_create_string_utf8(env, "hostname", NAPI_AUTO_LENGTH, &name) == napi_ok &&
         napi_has_own_property(env, object, name, &has) == napi_ok;
}

}  // namespace

Napi::Function WIMAPAsyncSession::Define(Napi::Env env) {
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

      Method<&WIMAPAsyncSession::FetchAllFolders>("fetchAllFolders"),
  };
  return DefineClass(env, kName, members);
}

// Fetches what the server knows about the messages of the inbox and logs how that goes. Turns this
// thread's run loop, which delivers the notifications, until the fetch has ended one way or the
// other. A thread that is told to end meanwhile does not wait for the server.
Napi::Value WIMAPAsyncSession::FetchAllFolders(const Napi::CallbackInfo& info) {
  const auto callback = brennox::make<TestIMAPCallback>();
  brennox::IndexSet* const everyUid =
      brennox::IndexSet::indexSetWithRange(brennox::RangeMake(1, brennox::kRangeToTheEnd));
  const brennox::Ref<brennox::IMAPFetchMessagesOperation> operation =
      held()->fetchMessagesByUIDOperation(brennox::String::uniquedStringWithUTF8Characters("INBOX"),
                                          kRequestKind, everyUid);
  operation->setCallback(callback.get());
  operation->setImapCallback(callback.get());
  operation->start();
  brennox::RunLoop::current()->runUntil(
      [&] {
        const Napi::HandleScope scope(info.Env());
        if (!operation->isFinished() && MayRunScript(info.Env(), info.This())) {
          return false;
        }
        operation->cancel();
        return true;
      },
      kInterval);
  return Int32::ToScript(info.Env(), 0);
}

}  // namespace velkor
