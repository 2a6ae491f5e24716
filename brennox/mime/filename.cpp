#include "mime/filename.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "mime/mime_types.h"
#include "text/ascii.h"

namespace brennox::mime {
namespace {

// What file systems take.
constexpr std::size_t kMaxName = 255;
// A longer ending is no extension that has to be kept.
constexpr std::size_t kMaxExtension = 32;

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

// A name that was a whole path where it came from: only its last component was meant.
std::string_view withoutPath(std::string_view name) {
  const bool drive =
      name.size() > 2 && text::isAlpha(name[0]) && name[1] == ':' && isSeparator(name[2]);
  const bool rooted = !name.empty() && isSeparator(name[0]);
  const bool relative =
      name.substr(0, 2) == ".." || name.substr(0, 2) == "./" || name.substr(0, 2) == ".\\";
  if (!drive && !rooted && !relative) {
    return name;
  }
  std::size_t last = name.find_last_of("/\\");
  return last == std::string_view::npos ? name : name.substr(last + 1);
}

// U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069: they can make "fdp.exe" read as "exe.pdf".
bool isDirectionMark(std::string_view text) {
  if (text.size() < 3 || text[0] != '\xE2') {
    return false;
  }
  const auto second = static_cast<unsigned char>(text[1]);
  const auto third = static_cast<unsigned char>(text[2]);
  return (second == 0x80 && (third == 0x8E || third == 0x8F || (third >= 0xAA && third <= 0xAE))) ||
         (second == 0x81 && third >= 0xA6 && third <= 0xA9);
}

// Printable ASCII that means nothing to a file system.
bool isPlain(char c) {
  return c >= ' ' && c < 0x7F && !isSeparator(c);
}

bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The endings of types that are written in lower case and have no more than one. Which of several
// is usual, the table does not say.
const std::unordered_map<std::string_view, std::string_view>& onlyEndings() {
  static const auto* const endings = [] {
    auto* const map = new std::unordered_map<std::string_view, std::string_view>;
    for (std::size_t i = 0; i < kMimeTypesByExtensionCount; ++i) {
      const std::string_view type = kMimeTypesByExtension[i].type;
      const std::string_view ending = kMimeTypesByExtension[i].endings;
      if (ending.find_first_of(" .") == std::string_view::npos) {
        map->emplace(type, ending);
      }
    }
    return map;
  }();
  return *endings;
}

// Cuts the stem, between characters, so that the whole fits.
std::string shortened(std::string name) {
  if (name.size() <= kMaxName) {
    return name;
  }
  const std::size_t dot = name.rfind('.');
  std::string extension;
  if (dot != std::string::npos && name.size() - dot <= kMaxExtension) {
    extension = name.substr(dot);
  }
  std::size_t keep = kMaxName - extension.size();
  while (keep > 0 && isContinuation(name[keep])) {
    --keep;
  }
  return name.substr(0, keep) + extension;
}

}  // namespace

std::string cleanFilename(std::string_view name) {
  if (name.empty()) {
    return {};
  }
  name = withoutPath(text::trimmed(name));
  std::string clean;
  clean.reserve(name.size());
  const auto* const special = std::find_if_not(name.begin(), name.end(), isPlain);
  clean.assign(name.begin(), special);
  for (std::size_t i = clean.size(); i < name.size(); ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    if (c < 32 || c == 127) {
      // A tab or line end stood for a blank.
      if ((c == '\t' || c == '\n') && !clean.empty() && clean.back() != ' ') {
        clean += ' ';
      }
    } else if (c == 0xC2 && name.size() - i > 1 && static_cast<unsigned char>(name[i + 1]) < 0xA0) {
      ++i;  // C1 controls
    } else if (isDirectionMark(name.substr(i))) {
      i += 2;
    } else {
      clean += isSeparator(name[i]) ? '_' : name[i];
    }
  }
  while (!clean.empty() && (clean.back() == ' ' || clean.back() == '.')) {
    clean.pop_back();
  }
  const std::size_t first = clean.find_first_not_of(' ');
  clean.erase(0, first == std::string::npos ? clean.size() : first);
  return shortened(std::move(clean));
}

std::string makeFilename(std::string_view stem, std::string_view mimeType) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 54> kEndings = {{
      {"message/rfc822", ".eml"},
      {"message/global", ".eml"},
      {"message/delivery-status", ".txt"},
      {"message/disposition-notification", ".txt"},
      {"message/partial", ".txt"},
      {"message/external-body", ".txt"},
      {"text/rfc822-headers", ".txt"},
      {"text/plain", ".txt"},
      {"text/html", ".html"},
      {"text/calendar", ".ics"},
      {"text/csv", ".csv"},
      {"text/vcard", ".vcf"},
      {"text/x-vcard", ".vcf"},
      {"text/directory", ".vcf"},
      {"text/xml", ".xml"},
      {"text/rtf", ".rtf"},
      {"application/rtf", ".rtf"},
      {"application/pdf", ".pdf"},
      {"application/zip", ".zip"},
      {"application/json", ".json"},
      {"application/xml", ".xml"},
      {"application/msword", ".doc"},
      {"application/ms-tnef", ".dat"},
      {"application/ics", ".ics"},
      {"application/pgp-signature", ".asc"},
      {"application/pgp-encrypted", ".asc"},
      {"application/pkcs7-signature", ".p7s"},
      {"application/x-pkcs7-signature", ".p7s"},
      {"application/pkcs7-mime", ".p7m"},
      {"application/x-pkcs7-mime", ".p7m"},
      {"image/jpeg", ".jpg"},
      {"image/svg+xml", ".svg"},
      {"image/tiff", ".tif"},
      {"audio/mpeg", ".mp3"},
      {"audio/mp4", ".m4a"},
      {"audio/ogg", ".ogg"},
      {"video/quicktime", ".mov"},
      {"video/x-msvideo", ".avi"},
      {"video/x-matroska", ".mkv"},
      {"image/x-icon", ".ico"},
      {"image/vnd.microsoft.icon", ".ico"},
      {"image/x-ms-bmp", ".bmp"},
      {"application/vnd.ms-excel", ".xls"},
      {"application/vnd.ms-powerpoint", ".ppt"},
      {"application/vnd.ms-outlook", ".msg"},
      {"application/postscript", ".ps"},
      {"application/javascript", ".js"},
      {"application/xhtml+xml", ".xhtml"},
      {"application/pgp-keys", ".asc"},
      {"application/x-tar", ".tar"},
      {"application/x-gzip", ".gz"},
      {"application/x-zip-compressed", ".zip"},
      {"application/x-7z-compressed", ".7z"},
      {"application/octet-stream", ".bin"},
  }};
  std::string name(stem);
  for (const auto& [type, ending] : kEndings) {
    if (mimeType == type) {
      return name.append(ending);
    }
  }
  const auto found = onlyEndings().find(mimeType);
  if (found != onlyEndings().end()) {
    return name.append(".").append(found->second);
  }
  const std::size_t slash = mimeType.find('/');
  const std::string_view major = mimeType.substr(0, slash);
  std::string_view minor =
      slash == std::string_view::npos ? std::string_view() : mimeType.substr(slash + 1);
  if (major == "image" || major == "audio" || major == "video") {
    if (minor.substr(0, 2) == "x-") {
      minor.remove_prefix(2);
    }
    bool plain = !minor.empty() && minor.size() <= 8;
    for (const char c : minor) {
      plain = plain && (text::isAlpha(c) || text::isDigit(c));
    }
    if (plain) {
      return name.append(".").append(minor);
    }
  }
  return name.append(major == "text" ? ".txt" : ".bin");
}

}  // namespace brennox::mime
