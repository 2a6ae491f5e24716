#include <brennox/IMAPSyncResult.h>

namespace brennox {

// The containers are copied, so that a change of one result does not reach the other; the messages
// in them are shared.
IMAPSyncResult::IMAPSyncResult(IMAPSyncResult* other) {
  if (other == nullptr) {
    return;
  }
  if (other->modifiedOrAddedMessages() != nullptr) {
    messages_ = make<Array>(other->modifiedOrAddedMessages());
  }
  if (other->vanishedMessages() != nullptr) {
    vanished_ = make<IndexSet>(other->vanishedMessages());
  }
}

Object* IMAPSyncResult::copy() {
  return makeAutoreleased<IMAPSyncResult>(this);
}

}  // namespace brennox
