// One mailbox of a folder listing (RFC 9051 section 7.3.1).
#pragma once

#include <brennox/Flags.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

namespace brennox {

class BRENNOX_EXPORT IMAPFolder : public Object {
 public:
  IMAPFolder() = default;
  explicit IMAPFolder(IMAPFolder* other);

  // In its wire form (modified UTF-7); null unless set.
  virtual String* path() { return path_.get(); }
  virtual void setPath(String* path) { path_ = path; }
  // One byte; 0 when the folder has no hierarchy.
  virtual char delimiter() { return delimiter_; }
  virtual void setDelimiter(char delimiter) { delimiter_ = delimiter; }
  virtual IMAPFolderFlag flags() { return flags_; }
  virtual void setFlags(IMAPFolderFlag flags) { flags_ = flags; }

  // Modified UTF-7 (RFC 3501 section 5.1.3) and back. Text that is no valid modified UTF-7 decodes
  // to itself. Autoreleased, never null.
  static String* decodePath(String* path);
  static String* encodePath(String* text);

  String* description() override;
  Object* copy() override;

 protected:
  const char* className() const override { return "IMAPFolder"; }

 private:
  Ref<String> path_;
  char delimiter_ = 0;
  IMAPFolderFlag flags_ = IMAPFolderFlagNone;
};

}  // namespace brennox
