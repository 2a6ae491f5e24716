// The operations of the asynchronous session: each is one call of the blocking session, whose
// failure leaves an empty result.
#include <brennox/IMAPFetchFoldersOperation.h>
#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/IMAPSession.h>

namespace brennox {

void IMAPFetchMessagesOperation::perform(IMAPSession& session, IMAPProgressCallback* progress,
                                         ErrorCode* error) {
  messages_ = make<Array>();
  if (Array* const fetched =
          session.fetchMessagesByUID(folder_.get(), kind_, indexes_.get(), progress, error)) {
    messages_ = fetched;
  }
}

void IMAPFetchFoldersOperation::perform(IMAPSession& session, IMAPProgressCallback*,
                                        ErrorCode* error) {
  folders_ = make<Array>();
  if (Array* const fetched = session.fetchAllFolders(error)) {
    folders_ = fetched;
  }
}

}  // namespace brennox
