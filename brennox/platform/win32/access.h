// Who may do what with a file, by its owner and its access control list.
#pragma once

#include "platform/win32/windows.h"

namespace brennox::platform {

// What cannot be found out counts as open to everybody.
struct Access {
  bool isOwn = false;
  bool isOpenToOthers = true;
  bool isWritableByAnybody = true;
};

// An opened file or folder; the handle needs READ_CONTROL. The system itself and its administrators
// count as nobody: they get at every file anyway.
Access accessOf(HANDLE file);

}  // namespace brennox::platform
