#include "imap/WIMAPSyncResult.h"

#include <brennox/IMAPMessage.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "imap/WIMAPMessage.h"
#include "main/Kinds.h"

namespace velkor {
namespace {

constexpr std::uint64_t kLastUid = std::numeric_limits<std::uint32_t>::max();

// A server that names more vanished messages than this is not believed: the list would fill the
// memory.
constexpr std::size_t kMostVanished = std::size_t{1} << 24;

// Every index of the set that can be a UID.
std::vector<std::uint32_t> UidsOf(Napi::Env env, brennox::IndexSet* set) {
  std::vector<std::uint32_t> uids;
  for (unsigned int i = 0; i < set->rangesCount(); ++i) {
    const brennox::Range range = set->allRanges()[i];
    if (brennox::RangeIsEmpty(range)) {
      continue;
    }
    const std::uint64_t last = std::min(brennox::RangeRightBound(range), kLastUid);
    for (std::uint64_t uid = brennox::RangeLeftBound(range); uid <= last; ++uid) {
      if (uids.size() == kMostVanished) {
        throw Napi::Error::New(env, "Too many vanished messages");
      }
      uids.push_back(static_cast<std::uint32_t>(uid));
    }
  }
  return uids;
}

}  // namespace

Napi::Function WIMAPSyncResult::Define(Napi::Env env) {
  const Members members = {
      Accessor<&WIMAPSyncResult::ModifiedOrAddedMessages>("modifiedOrAddedMessages"),
      Accessor<&WIMAPSyncResult::VanishedMessages>("vanishedMessages"),
  };
  return DefineClass(env, kName, members);
}

Napi::Value WIMAPSyncResult::ModifiedOrAddedMessages(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  return ArrayOf<brennox::IMAPMessage>(
      env, held()->modifiedOrAddedMessages(),
      [env](brennox::IMAPMessage* message) { return WIMAPMessage::NewInstance(env, message); });
}

Napi::Value WIMAPSyncResult::VanishedMessages(const Napi::CallbackInfo& info) {
  const Napi::Env env = info.Env();
  brennox::IndexSet* const vanished = held()->vanishedMessages();
  if (vanished == nullptr) {
    return Napi::Array::New(env);
  }
  const std::vector<std::uint32_t> uids = UidsOf(env, vanished);
  Napi::Array result = Napi::Array::New(env, uids.size());
  for (std::uint32_t i = 0; i < uids.size(); ++i) {
    Napi::HandleScope scope(env);
    result.Set(i, UInt32::ToScript(env, uids[i]));
  }
  return result;
}

}  // namespace velkor
