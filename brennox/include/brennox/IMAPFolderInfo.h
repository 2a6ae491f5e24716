// The values that selecting a folder yields (RFC 9051 section 6.3.2, RFC 7162).
#pragma once

#include <brennox/Object.h>

#include <cstdint>

namespace brennox {

class BRENNOX_EXPORT IMAPFolderInfo : public Object {
 public:
  IMAPFolderInfo() = default;
  explicit IMAPFolderInfo(IMAPFolderInfo* other);

  virtual std::uint32_t uidNext() { return uidNext_; }
  virtual void setUidNext(std::uint32_t value) { uidNext_ = value; }
  virtual std::uint32_t uidValidity() { return uidValidity_; }
  virtual void setUidValidity(std::uint32_t value) { uidValidity_ = value; }
  virtual std::uint64_t modSequenceValue() { return modSequenceValue_; }
  virtual void setModSequenceValue(std::uint64_t value) { modSequenceValue_ = value; }
  virtual int messageCount() { return messageCount_; }
  virtual void setMessageCount(int value) { messageCount_ = value; }
  virtual std::uint32_t firstUnseenUid() { return firstUnseenUid_; }
  virtual void setFirstUnseenUid(std::uint32_t value) { firstUnseenUid_ = value; }
  virtual bool allowsNewPermanentFlags() { return allowsNewPermanentFlags_; }
  virtual void setAllowsNewPermanentFlags(bool value) { allowsNewPermanentFlags_ = value; }

  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPFolderInfo"; }

 private:
  std::uint64_t modSequenceValue_ = 0;
  std::uint32_t uidNext_ = 0;
  std::uint32_t uidValidity_ = 0;
  std::uint32_t firstUnseenUid_ = 0;
  int messageCount_ = 0;
  bool allowsNewPermanentFlags_ = false;
};

}  // namespace brennox
