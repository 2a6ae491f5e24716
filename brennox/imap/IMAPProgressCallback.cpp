#include <brennox/IMAPProgressCallback.h>

namespace brennox {

IMAPProgressCallback::~IMAPProgressCallback() = default;

void IMAPProgressCallback::bodyProgress(IMAPSession* /*session*/, unsigned int /*current*/,
                                        unsigned int /*maximum*/) {}

void IMAPProgressCallback::itemsProgress(IMAPSession* /*session*/, unsigned int /*current*/,
                                         unsigned int /*maximum*/) {}

}  // namespace brennox
