#include <brennox/IMAPFolderInfo.h>
#include <brennox/Ref.h>

namespace brennox {

IMAPFolderInfo::IMAPFolderInfo(IMAPFolderInfo* other) {
  if (other != nullptr) {
    modSequenceValue_ = other->modSequenceValue();
    uidNext_ = other->uidNext();
    uidValidity_ = other->uidValidity();
    firstUnseenUid_ = other->firstUnseenUid();
    messageCount_ = other->messageCount();
    allowsNewPermanentFlags_ = other->allowsNewPermanentFlags();
  }
}

Object* IMAPFolderInfo::copy() {
  return makeAutoreleased<IMAPFolderInfo>(this);
}

}  // namespace brennox
