// The outcome of a synchronisation (RFC 7162).
#pragma once

#include <brennox/Array.h>
#include <brennox/IndexSet.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>

namespace brennox {

class BRENNOX_EXPORT IMAPSyncResult : public Object {
 public:
  IMAPSyncResult() = default;
  explicit IMAPSyncResult(IMAPSyncResult* other);

  // Array of IMAPMessage; null unless set.
  virtual Array* modifiedOrAddedMessages() { return messages_.get(); }
  virtual void setModifiedOrAddedMessages(Array* messages) { messages_ = messages; }
  // UIDs; null when the server cannot tell (no QRESYNC).
  virtual IndexSet* vanishedMessages() { return vanished_.get(); }
  virtual void setVanishedMessages(IndexSet* uids) { vanished_ = uids; }

  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPSyncResult"; }

 private:
  Ref<Array> messages_;
  Ref<IndexSet> vanished_;
};

}  // namespace brennox
