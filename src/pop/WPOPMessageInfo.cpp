#include "pop/WPOPMessageInfo.h"

#include "main/Kinds.h"

namespace velkor {

Napi::Function WPOPMessageInfo::Define(Napi::Env env) {
  using I = brennox::POPMessageInfo;
  const Members members = {
      Property<UInt32, &I::index, &I::setIndex>("index", "Value must be number"),
      Property<Text, &I::uid, &I::setUid>("uid", "Value must be string"),
      Property<UInt32, &I::size, &I::setSize>("size", "Value must be number"),
      // Scripts use both spellings.
      Property<Text, &I::uid, &I::setUid>("UID", "Value must be string"),
  };
  return DefineClass(env, kName, members);
}

}  // namespace velkor
