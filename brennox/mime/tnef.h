// TNEF (MS-OXTNEF): the attachments and the body that winmail.dat carries.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brennox::mime {

struct TnefAttachment {
  // UTF-8, as it stands; may be empty.
  std::string filename;
  std::string mimeType;
  std::string contentID;
  // A view on the input.
  std::string_view content;
  // The content is a TNEF stream of its own: an embedded message.
  bool isMessage = false;
};

struct Tnef {
  std::vector<TnefAttachment> attachments;
  // The message's text in the forms that are there. `htmlCharset` is empty when the stream names
  // none.
  std::string_view html;
  std::string htmlCharset;
  std::string plain;  // UTF-8
  std::string rtf;    // decompressed
  unsigned int codepage = 0;
  std::string subject;  // UTF-8
};

// False when the bytes are no TNEF stream. What is cut off or inconsistent ends the reading; what
// was read until there stays.
bool parseTnef(std::string_view bytes, Tnef& tnef);

// Decompresses RTF (MS-OXRTFCP); empty when it is no compressed RTF. Never larger than nine times
// the input.
std::string decompressRtf(std::string_view bytes);

}  // namespace brennox::mime
