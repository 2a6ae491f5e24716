#include "imap/WIMAPFolderStatus.h"

#include "main/Kinds.h"

namespace velkor {

Napi::Function WIMAPFolderStatus::Define(Napi::Env env) {
  using S = brennox::IMAPFolderStatus;
  static constexpr char kNumberText[] = "Value must be number";
  const Members members = {
      Property<UInt32, &S::unseenCount, &S::setUnseenCount>("unseenCount", kNumberText),
      Property<UInt32, &S::messageCount, &S::setMessageCount>("messageCount", kNumberText),
      Property<UInt32, &S::recentCount, &S::setRecentCount>("recentCount", kNumberText),
      Property<UInt32, &S::uidNext, &S::setUidNext>("uidNext", kNumberText),
      Property<UInt32, &S::uidValidity, &S::setUidValidity>("uidValidity", kNumberText),
      Property<ModSequence, &S::highestModSeqValue, &S::setHighestModSeqValue>("highestModSeqValue",
                                                                               kNumberText),

      Getter<Text, &S::description>("description"),
  };
  return DefineClass(env, kName, members);
}

}  // namespace velkor
