#include "imap/WIMAPFolderInfo.h"

#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPFolderInfo::Define(Napi::Env env) {
  using I = brennox::IMAPFolderInfo;
  static constexpr char kNumberText[] = "Value must be number";
  const Members members = {
      Property<UInt32, &I::uidNext, &I::setUidNext>("uidNext", kNumberText),
      Property<UInt32, &I::uidValidity, &I::setUidValidity>("uidValidity", kNumberText),
      Property<ModSequence, &I::modSequenceValue, &I::setModSequenceValue>("modSequenceValue",
                                                                           kNumberText),
      Property<Int32, &I::messageCount, &I::setMessageCount>("messageCount", kNumberText),
      Property<UInt32, &I::firstUnseenUid, &I::setFirstUnseenUid>("firstUnseenUid", kNumberText),
      // Shorter than the text of the session classes; scripts match on it.
      Property<Flag, &I::allowsNewPermanentFlags, &I::setAllowsNewPermanentFlags>(
          "allowsNewPermanentFlags", "Value must be bool"),
  };
  return DefineClass(env, kName, members);
}

}  // namespace velkor
