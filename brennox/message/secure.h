// The layers of signatures and encryption around a received message (RFC 8551).
//
// Layers are taken from the root alone: the whole message, then what is directly inside, down to
// the first ordinary entity. A signed or encrypted part beside other parts says nothing about those
// others, and opening it would mix its content with theirs; it stays an attachment.
#pragma once

#include <brennox/Data.h>

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "mime/MimePart.h"

namespace brennox::message {

struct SecureSettings {
  bool doNotDecrypt = false;
  std::string keyUsagePolicy;  // "": none
  // The mailboxes of all From fields. Which of several a reader shows is a matter of taste.
  std::vector<std::string> authors;
};

struct SecureResult {
  bool isSigned = false;
  bool isEncrypted = false;
  // There is a signature and all of them are good; there is encryption and all of it was opened.
  bool isVerified = false;
  bool isDecrypted = false;
  // Of the outermost signature.
  Ref<Data> signerCertificate;  // null when it was not found
  std::string creationDate;
  std::string signatureAlgorithm;
  std::string digestAlgorithm;
  std::string decryptMessage;  // "" unless something could not be opened
  // The entity inside all layers that could be taken off, to be shown in place of the message's
  // own. Null when there was none to take off.
  Ref<mime::Source> content;
};

// Whether a message whose root has this media type (lower case) and file name can have layers: all
// others need no look at their structure.
bool mayHaveLayers(std::string_view mediaType, std::string_view filename);

// Takes off the layers. Uses the user's certificates; any thread.
SecureResult openLayers(mime::Source* message, const SecureSettings& settings);

}  // namespace brennox::message
