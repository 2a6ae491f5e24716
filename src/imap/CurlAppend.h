// Uploading one message into an IMAP folder with curl.
#pragma once

#include <brennox/ErrorCode.h>
#include <cpcurl.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace brennox {
class Data;
class IMAPSession;
}  // namespace brennox

namespace velkor {

// Appends the message to the folder with the session's settings, over a connection of its own, and
// writes the UID that it gets to `uid` (left alone on failure). `flags` is not sent; the server
// gets what curl sends. Selects the folder through the session first, whose error is then the
// result. An upload that times out is tried three times in all. The session's time-out bounds
// silence (connecting, waiting for a reply, a stalled upload); with 0 curl's own bounds hold.
//
// Texts with a line break or a zero byte are refused with ErrorAppend, nothing sent.
// Throws std::runtime_error when the session has no host name or curl cannot be started. Any
// thread.
brennox::ErrorCode CurlAppend(brennox::IMAPSession& session, const std::string& folder,
                              brennox::Data& message, std::uint32_t flags, std::uint32_t* uid);

// The folder's name as it stands in the URL: digits, ASCII letters and "&-/" as they are, every
// other byte as
// "%%%02X" of a signed char, so that bytes from 0x80 carry their sign (0xD0 is %FFFFFFD0). Servers
// know folders by names in this form.
std::string EncodedFolderName(const std::string& folder);

// What stands behind the scheme in the URL of an upload: the host, the folder and the UID that the
// message is going to get.
std::string AppendPlace(std::string_view host, const std::string& folder, std::uint32_t uid);

// The error code that a result of curl's stands for, the last time-out included.
brennox::ErrorCode ErrorOfAppend(CURLcode result);

}  // namespace velkor
