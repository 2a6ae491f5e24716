#include "imap/WIMAPFetchFoldersOperation.h"

#include "imap/WIMAPFolder.h"
#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPFetchFoldersOperation::Define(Napi::Env env) {
  const Members members = {
      Method<&WIMAPFetchFoldersOperation::Folders>("folders"),
  };
  return DefineClass(env, kName, members);
}

Napi::Value WIMAPFetchFoldersOperation::Folders(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  return ArrayOf<brennox::IMAPFolder>(env, held()->folders(), [env](brennox::IMAPFolder* folder) {
    return WIMAPFolder::NewInstance(env, folder);
  });
}

}  // namespace velkor
