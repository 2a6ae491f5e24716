#include "mime/mime_types.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "text/ascii.h"

namespace brennox::mime {
namespace {

// Files whose whole name says what they are.
constexpr MimeTypeRow kTypesByName[] = {
    {"application/dicom", "dicomdir"},
    {"application/vnd.ms-tnef", "winmail.dat"},
    {"application/x-core", "core"},
    {"application/x-godot-project", "project.godot"},
    {"application/x-java-keystore", "cacerts"},
    {"application/x-profile", "gmon.out"},
    {"message/x-gnu-rmail", "rmail"},
    {"text/x-authors", "authors"},
    {"text/x-changelog", "changelog"},
    {"text/x-cmake", "cmakelists.txt"},
    {"text/x-copying", "copying"},
    {"text/x-credits", "credits"},
    {"text/x-install", "install"},
    {"text/x-makefile", "gnumakefile makefile"},
    {"text/x-maven+xml", "pom.xml settings.xml"},
    {"text/x-meson", "meson.build meson_options.txt"},
    {"text/x-scons", "sconscript sconstruct"},
};

// No ending or whole name in the tables is longer; longer ones need no looking up.
constexpr std::size_t kMaxKey = 64;

// Whole names stand as they are, endings behind a dot.
using Index = std::unordered_map<std::string, const char*>;

void addRow(Index& index, const MimeTypeRow& row, std::string_view prefix) {
  std::string_view rest = row.endings;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    std::string key(prefix);
    key += rest.substr(0, end);
    index.emplace(std::move(key), row.type);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

const Index& index() {
  // Never destroyed: other threads may look types up while the process ends.
  static const Index* const table = [] {
    auto* const made = new Index;
    made->reserve(2 * kMimeTypesByExtensionCount);
    for (const MimeTypeRow& row : kTypesByName) {
      addRow(*made, row, "");
    }
    for (std::size_t i = 0; i < kMimeTypesByExtensionCount; ++i) {
      addRow(*made, kMimeTypesByExtension[i], ".");
    }
    return made;
  }();
  return *table;
}

const char* find(std::string_view key) {
  if (key.size() > kMaxKey) {
    return nullptr;
  }
  const auto found = index().find(std::string(key));
  return found == index().end() ? nullptr : found->second;
}

// The patterns of the shared MIME database that are neither a name nor an ending.
const char* findPattern(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  const std::string_view last =
      dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
  if (name.ends_with('~') || name.ends_with('%')) {
    return "application/x-trash";
  }
  if (name.ends_with(",v")) {
    return "text/plain";
  }
  const std::size_t library = name.rfind(".so.");
  if (library != std::string_view::npos && library + 4 < name.size() &&
      text::isDigit(name[library + 4])) {
    return "application/x-sharedlib";
  }
  if (last.size() == 1 && last[0] >= '1' && last[0] <= '9') {
    return "application/x-troff-man";
  }
  if (last.size() == 5 && last.starts_with("anim")) {
    return "video/x-anim";
  }
  if (name.starts_with("makefile.")) {
    return "text/x-makefile";
  }
  if (name.starts_with("sconscript.")) {
    return "text/x-scons";
  }
  if (name.starts_with("readme")) {
    return "text/x-readme";
  }
  return nullptr;
}

}  // namespace

const char kUnknownMimeType[] = "application/octet-stream";

const char* mimeTypeForFilename(std::string_view filename) {
  const std::size_t separator = filename.find_last_of("/\\");
  if (separator != std::string_view::npos) {
    filename.remove_prefix(separator + 1);
  }
  const std::string name = text::lowered(filename);
  if (const char* const type = find(name)) {
    return type;
  }
  // Longer endings than the tables hold can't be found, so the search may begin near the end.
  std::size_t from = name.size() > kMaxKey ? name.size() - kMaxKey : 0;
  while ((from = name.find('.', from)) != std::string::npos) {
    if (const char* const type = find(std::string_view(name).substr(from))) {
      return type;
    }
    ++from;
  }
  const char* const type = findPattern(name);
  return type == nullptr ? kUnknownMimeType : type;
}

}  // namespace brennox::mime
