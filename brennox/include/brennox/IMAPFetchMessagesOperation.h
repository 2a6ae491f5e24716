// Fetches what a server knows about messages of a folder.
#pragma once

#include <brennox/Array.h>
#include <brennox/Flags.h>
#include <brennox/IMAPOperation.h>
#include <brennox/IndexSet.h>
#include <brennox/String.h>

namespace brennox {

class BRENNOX_EXPORT IMAPFetchMessagesOperation : public IMAPOperation {
 public:
  virtual void setFolder(String* folder) { folder_ = folder; }
  virtual String* folder() { return folder_.get(); }
  virtual void setKind(IMAPMessagesRequestKind kind) { kind_ = kind; }
  virtual IMAPMessagesRequestKind kind() { return kind_; }
  // UIDs.
  virtual void setIndexes(IndexSet* indexes) { indexes_ = indexes; }
  virtual IndexSet* indexes() { return indexes_.get(); }

  // Array of IMAPMessage. Null until the operation has run; empty when it failed.
  virtual Array* messages() { return messages_.get(); }

 protected:
  const char* className() const override { return "IMAPFetchMessagesOperation"; }
  void perform(IMAPSession& session, IMAPProgressCallback* progress, ErrorCode* error) override;

 private:
  Ref<String> folder_;
  Ref<IndexSet> indexes_;
  Ref<Array> messages_;
  IMAPMessagesRequestKind kind_ = IMAPMessagesRequestKindUid;
};

}  // namespace brennox
