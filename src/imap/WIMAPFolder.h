// The script class IMAPFolder: one mailbox of a folder listing.
#pragma once

#include <brennox/IMAPFolder.h>

#include "main/Wrapper.h"

namespace velkor {

class WIMAPFolder final : public Wrapper<WIMAPFolder, brennox::IMAPFolder, Teardown::kRelease,
                                         Adopt::kCopyOverDefault> {
 public:
  static constexpr char kName[] = "IMAPFolder";
  static Napi::Function Define(Napi::Env env);

  explicit WIMAPFolder(const Napi::CallbackInfo& info) : Wrapper(info) {}

 private:
  Napi::Value Delimiter(const Napi::CallbackInfo& info);
  void SetDelimiter(const Napi::CallbackInfo& info, const Napi::Value& value);
};

}  // namespace velkor
