// The values of a STATUS query (RFC 9051 section 6.3.11).
#pragma once

#include <brennox/Object.h>

#include <cstdint>

namespace brennox {

class BRENNOX_EXPORT IMAPFolderStatus : public Object {
 public:
  IMAPFolderStatus() = default;
  explicit IMAPFolderStatus(IMAPFolderStatus* other);

  virtual std::uint32_t unseenCount() { return unseenCount_; }
  virtual void setUnseenCount(std::uint32_t value) { unseenCount_ = value; }
  virtual std::uint32_t messageCount() { return messageCount_; }
  virtual void setMessageCount(std::uint32_t value) { messageCount_ = value; }
  virtual std::uint32_t recentCount() { return recentCount_; }
  virtual void setRecentCount(std::uint32_t value) { recentCount_ = value; }
  virtual std::uint32_t uidNext() { return uidNext_; }
  virtual void setUidNext(std::uint32_t value) { uidNext_ = value; }
  virtual std::uint32_t uidValidity() { return uidValidity_; }
  virtual void setUidValidity(std::uint32_t value) { uidValidity_ = value; }
  virtual std::uint64_t highestModSeqValue() { return highestModSeqValue_; }
  virtual void setHighestModSeqValue(std::uint64_t value) { highestModSeqValue_ = value; }

  String* description() override;
  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPFolderStatus"; }

 private:
  std::uint64_t highestModSeqValue_ = 0;
  std::uint32_t unseenCount_ = 0;
  std::uint32_t messageCount_ = 0;
  std::uint32_t recentCount_ = 0;
  std::uint32_t uidNext_ = 0;
  std::uint32_t uidValidity_ = 0;
};

}  // namespace brennox
