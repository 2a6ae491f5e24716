// The module's entry: defines the script classes and attaches them to the exports.

#include <napi.h>

#include "data/WData.h"
#include "imap/WIMAPAsyncSession.h"
#include "imap/WIMAPFetchFoldersOperation.h"
#include "imap/WIMAPFolder.h"
#include "imap/WIMAPFolderInfo.h"
#include "imap/WIMAPFolderStatus.h"
#include "imap/WIMAPMessage.h"
#include "imap/WIMAPSession.h"
#include "imap/WIMAPSyncResult.h"
#include "main/ConstructorMap.h"
#include "main/ExitFlag.h"
#include "message/WAttachment.h"
#include "message/WMessageBuilder.h"
#include "message/WMessageHeader.h"
#include "message/WMessageParser.h"
#include "pop/WPOPMessageInfo.h"
#include "pop/WPOPSession.h"
#include "smtp/WSMTPAsyncSession.h"

namespace velkor {
namespace {

enum class Registry { kListed, kNotListed };

template <class Class, Registry kRegistry = Registry::kNotListed>
void Export(Napi::Env env, Napi::Object exports) {
  const Napi::Function constructor = Class::Define(env);
  if constexpr (kRegistry == Registry::kListed) {
    ConstructorMap::Set(env, Class::kName, constructor);
  }
  exports.Set(Class::kName, constructor);
}

Napi::Object Init(Napi::Env env, Napi::Object exports) {
  // The order is part of the interface.
  Export<WData, Registry::kListed>(env, exports);
  Export<WSMTPAsyncSession>(env, exports);
  Export<WIMAPAsyncSession>(env, exports);
  Export<WIMAPFetchFoldersOperation>(env, exports);
  Export<WIMAPSession>(env, exports);
  Export<WIMAPFolder, Registry::kListed>(env, exports);
  Export<WIMAPFolderInfo>(env, exports);
  Export<WIMAPFolderStatus, Registry::kListed>(env, exports);
  Export<WIMAPMessage, Registry::kListed>(env, exports);
  Export<WMessageHeader, Registry::kListed>(env, exports);
  Export<WMessageParser>(env, exports);
  Export<WAttachment, Registry::kListed>(env, exports);
  Export<WMessageBuilder>(env, exports);
  Export<WIMAPSyncResult, Registry::kListed>(env, exports);
  Export<WPOPMessageInfo, Registry::kListed>(env, exports);
  Export<WPOPSession>(env, exports);
  WatchExit(env);
  return exports;
}

}  // namespace
}  // namespace velkor

// What the loader calls, once for each environment.
extern "C" __attribute__((visibility("default"))) napi_value velkor_brennox2_init(
    napi_env env, napi_value exports) {
  return Napi::RegisterModule(env, exports, velkor::Init);
}
