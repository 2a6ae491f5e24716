#include <brennox/IMAPFolderStatus.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

namespace brennox {

IMAPFolderStatus::IMAPFolderStatus(IMAPFolderStatus* other) {
  if (other != nullptr) {
    highestModSeqValue_ = other->highestModSeqValue();
    unseenCount_ = other->unseenCount();
    messageCount_ = other->messageCount();
    recentCount_ = other->recentCount();
    uidNext_ = other->uidNext();
    uidValidity_ = other->uidValidity();
  }
}

String* IMAPFolderStatus::description() {
  return String::stringWithText(
      "<IMAPFolderStatus: messages " + std::to_string(messageCount_) + " unseen " +
      std::to_string(unseenCount_) + " recent " + std::to_string(recentCount_) + " uidNext " +
      std::to_string(uidNext_) + " uidValidity " + std::to_string(uidValidity_) +
      " highestModSeq " + std::to_string(highestModSeqValue_) + ">");
}

Object* IMAPFolderStatus::copy() {
  return makeAutoreleased<IMAPFolderStatus>(this);
}

}  // namespace brennox
