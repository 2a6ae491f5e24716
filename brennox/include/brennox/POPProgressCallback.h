// Progress of a blocking POP3 fetch; called on the thread that runs the call.
#pragma once

#include <brennox/Export.h>

namespace brennox {

class POPSession;

class BRENNOX_EXPORT POPProgressCallback {
 public:
  virtual ~POPProgressCallback();
  virtual void bodyProgress(POPSession* session, unsigned int current, unsigned int maximum);
};

}  // namespace brennox
