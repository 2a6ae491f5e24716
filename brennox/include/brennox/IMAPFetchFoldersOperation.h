// Lists the folders of an account.
#pragma once

#include <brennox/Array.h>
#include <brennox/IMAPOperation.h>

namespace brennox {

class BRENNOX_EXPORT IMAPFetchFoldersOperation : public IMAPOperation {
 public:
  // Array of IMAPFolder. Null until the operation has run; empty when it failed.
  virtual Array* folders() { return folders_.get(); }

 protected:
  const char* className() const override { return "IMAPFetchFoldersOperation"; }
  void perform(IMAPSession& session, IMAPProgressCallback* progress, ErrorCode* error) override;

 private:
  Ref<Array> folders_;
};

}  // namespace brennox
