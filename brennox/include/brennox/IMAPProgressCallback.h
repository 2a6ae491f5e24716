// Progress of a blocking IMAP call; called on the thread that runs the call.
#pragma once

#include <brennox/Export.h>

namespace brennox {

class IMAPSession;

class BRENNOX_EXPORT IMAPProgressCallback {
 public:
  virtual ~IMAPProgressCallback();
  // Bytes of a message body.
  virtual void bodyProgress(IMAPSession* session, unsigned int current, unsigned int maximum);
  // Messages of a listing.
  virtual void itemsProgress(IMAPSession* session, unsigned int current, unsigned int maximum);
};

}  // namespace brennox
