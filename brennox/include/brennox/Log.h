// The library's log: one line a message on standard error.
#pragma once

#include <brennox/Export.h>

namespace brennox {

// Writes "<file>:<line>: <message>" and a line end in one write. `user` is an optional tag,
// `dumpStack` adds the call stack. A trailing line end in the format is not doubled; a null text
// for %s prints as
// "(null)". Safe from any thread. Credentials must never be passed here.
BRENNOX_EXPORT void BXLogInternal(const char* user, const char* file, int line, int dumpStack,
                                  const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 5, 6)))
#endif
    ;

}  // namespace brennox
