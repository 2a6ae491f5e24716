// One message of a POP3 listing (RFC 1939: LIST and UIDL).
#pragma once

#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

namespace brennox {

class BRENNOX_EXPORT POPMessageInfo : public Object {
 public:
  POPMessageInfo() = default;
  explicit POPMessageInfo(POPMessageInfo* other);

  // The message number, from 1.
  virtual unsigned int index() { return index_; }
  virtual void setIndex(unsigned int index) { index_ = index; }
  // Null where the server has no UIDL.
  virtual String* uid() { return uid_.get(); }
  virtual void setUid(String* uid) { uid_ = uid; }
  // In bytes, as LIST says.
  virtual unsigned int size() { return size_; }
  virtual void setSize(unsigned int size) { size_ = size; }

  String* description() override;
  Object* copy() override;

 protected:
  const char* className() const override { return "POPMessageInfo"; }

 private:
  Ref<String> uid_;
  unsigned int index_ = 0;
  unsigned int size_ = 0;
};

}  // namespace brennox
