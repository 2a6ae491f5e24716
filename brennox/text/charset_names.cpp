#include "text/charset_names.h"

#include <algorithm>
#include <iterator>

#include "text/ascii.h"

namespace brennox::text {
namespace {

struct Alias {
  std::string_view key;  // letters and digits in lower case
  std::string_view converter;
};

// Sorted by key. Names that the system's converter does not know, reads as something else than mail
// means, or for which mail's usual superset is to be read.
constexpr Alias kAliases[] = {
    {"8859", "windows-1252"},
    {"big5eten", "windows-950"},
    {"chinesebig5", "windows-950"},
    {"cp10000", "macintosh"},
    {"cp10007", "x-mac-cyrillic"},
    {"cp1200", "utf-16le"},
    {"cp1201", "utf-16be"},
    {"cp20127", "us-ascii"},
    {"cp20866", "koi8-r"},
    {"cp20932", "euc-jp"},
    {"cp20936", "gb18030"},
    {"cp21866", "koi8-u"},
    {"cp28591", "windows-1252"},
    {"cp50220", "iso-2022-jp-2"},
    {"cp50221", "iso-2022-jp-2"},
    {"cp50222", "iso-2022-jp-2"},
    {"cp51932", "euc-jp"},
    {"cp51936", "gb18030"},
    {"cp51949", "windows-949"},
    {"cp52936", "hz-gb-2312"},
    {"cp54936", "gb18030"},
    {"cp936", "gb18030"},
    {"cp949", "windows-949"},
    {"cp950", "windows-950"},
    {"csbig5", "windows-950"},
    {"cseuckr", "windows-949"},
    {"csgb2312", "gb18030"},
    {"csiso2022jp", "iso-2022-jp-2"},
    {"csiso58gb231280", "gb18030"},
    {"csisolatin1", "windows-1252"},
    {"csisolatin2", "iso-8859-2"},
    {"csisolatin5", "windows-1254"},
    {"csisolatincyrillic", "iso-8859-5"},
    {"cskoi8r", "koi8-r"},
    {"csksc56011987", "windows-949"},
    {"csshiftjis", "windows-31j"},
    {"csviscii", "viscii"},
    {"dos866", "ibm866"},
    {"euccn", "gb18030"},
    {"eucjpms", "euc-jp"},
    {"eucjpwin", "euc-jp"},
    {"euckr", "windows-949"},
    {"gb18030", "gb18030"},
    {"gb2312", "gb18030"},
    {"gb231280", "gb18030"},
    {"gbk", "gb18030"},
    {"hzgb", "hz-gb-2312"},
    {"iso10646ucs2", "utf-16"},
    {"iso2022jp", "iso-2022-jp-2"},
    {"iso2022jp1", "iso-2022-jp-2"},
    {"iso2022jp3", "iso-2022-jp-2"},
    {"iso2022jpms", "iso-2022-jp-2"},
    {"isoceltic", "iso-8859-14"},
    {"jis", "iso-2022-jp-2"},
    {"jis7", "iso-2022-jp-2"},
    {"koi8", "koi8-r"},
    {"koi8ru", "koi8-u"},
    {"koi8t", "koi8-t"},
    {"korean", "windows-949"},
    {"ksc5601", "windows-949"},
    {"ksc56011987", "windows-949"},
    {"ksc56011989", "windows-949"},
    {"ksx1001", "windows-949"},
    {"l1", "windows-1252"},
    {"latin0", "iso-8859-15"},
    {"latin1", "windows-1252"},
    {"latin10", "iso-8859-16"},
    {"latin2", "iso-8859-2"},
    {"latin3", "iso-8859-3"},
    {"latin4", "iso-8859-4"},
    {"latin5", "windows-1254"},
    {"latin6", "iso-8859-10"},
    {"latin7", "iso-8859-13"},
    {"latin8", "iso-8859-14"},
    {"latin9", "iso-8859-15"},
    {"mac", "macintosh"},
    {"maccyrillic", "x-mac-cyrillic"},
    {"macroman", "macintosh"},
    {"ms932", "windows-31j"},
    {"ms936", "gb18030"},
    {"ms949", "windows-949"},
    {"ms950", "windows-950"},
    {"mskanji", "windows-31j"},
    {"shiftjis", "windows-31j"},
    {"shiftjisms", "windows-31j"},
    {"sjis", "windows-31j"},
    {"thai", "windows-874"},
    {"tis620", "windows-874"},
    {"ucs2", "utf-16"},
    {"uhc", "windows-949"},
    {"unicode", "utf-16"},
    {"unicode11utf7", "utf-7"},
    {"unicode20utf7", "utf-7"},
    {"utf16", "utf-16"},
    {"utf7", "utf-7"},
    {"viscii", "viscii"},
    {"windows31j", "windows-31j"},
    {"windows936", "gb18030"},
    {"windows949", "windows-949"},
    {"windowslatin1", "windows-1252"},
    {"winsami2", "windows-1252"},
};

constexpr bool isSorted() {
  return std::is_sorted(std::begin(kAliases), std::end(kAliases),
                        [](const Alias& a, const Alias& b) { return a.key < b.key; });
}
static_assert(isSorted());

constexpr std::string_view kUtf8Names[] = {"utf8",    "unicode11utf8", "unicode20utf8", "utf8mb4",
                                           "utf8mb3", "cp65001",       "65001",         "utf8n",
                                           "csutf8",  "utf",           "utf8bom",       "al32utf8",
                                           "utf08",   "utf88",         "unicodeutf8"};
constexpr std::string_view kAsciiNames[] = {
    "usascii", "ascii", "ansix341968", "ansix341986", "iso646us", "iso646irv1991", "iso646",
    "isoir6",  "us",    "cp367",       "ibm367",      "csascii",  "ascii7",        "asciius"};

template <std::size_t kSize>
bool isOneOf(std::string_view key, const std::string_view (&names)[kSize]) {
  return std::find(std::begin(names), std::end(names), key) != std::end(names);
}

// The digits that follow one of `prefixes`; empty when the key is made otherwise.
template <std::size_t kSize>
std::string_view numberAfter(std::string_view key, const std::string_view (&prefixes)[kSize]) {
  for (const std::string_view prefix : prefixes) {
    if (key.substr(0, prefix.size()) == prefix) {
      const std::string_view rest = key.substr(prefix.size());
      if (!rest.empty() && std::all_of(rest.begin(), rest.end(), isDigit)) {
        return rest;
      }
    }
  }
  return {};
}

constexpr std::string_view kWindowsPrefixes[] = {"windows", "win", "cp",     "mswin",
                                                 "ms",      "ibm", "msansi", "windowscp"};
constexpr std::string_view kIsoPrefixes[] = {"iso8859", "8859", "isoiec8859", "iso885", "iso88859"};

}  // namespace

CharsetName resolveCharset(std::string_view name) {
  name = trimmed(name);
  // A language may follow (RFC 2231 section 5); it belongs to no name.
  name = name.substr(0, name.find('*'));
  if (name.empty() || name.size() > kMaxCharsetName) {
    return {};
  }
  std::string key;
  for (const char c : name) {
    if (isAlpha(c) || isDigit(c)) {
      key += toLower(c);
    } else if (static_cast<unsigned char>(c) <= ' ' || c == '/' || c == '\\' || c == ',' ||
               static_cast<unsigned char>(c) >= 0x7F) {
      // The converter would read these as options or as a path.
      return {};
    }
  }
  if (key.size() > 1 && key.front() == 'x') {
    key.erase(0, 1);
  }
  if (isOneOf(key, kUtf8Names)) {
    return {CharsetKind::kUtf8, {}};
  }
  if (isOneOf(key, kAsciiNames)) {
    return {CharsetKind::kAscii, {}};
  }
  const auto* const alias =
      std::lower_bound(std::begin(kAliases), std::end(kAliases), key,
                       [](const Alias& a, std::string_view wanted) { return a.key < wanted; });
  if (alias != std::end(kAliases) && alias->key == key) {
    return {CharsetKind::kConverter, std::string(alias->converter)};
  }
  // Windows-125x by any of its names.
  const std::string_view page = numberAfter(key, kWindowsPrefixes);
  if (page == "874" || (page.size() == 4 && page.substr(0, 3) == "125")) {
    return {CharsetKind::kConverter, "windows-" + std::string(page)};
  }
  // ISO 8859, also with a year or a direction after the part's number.
  std::string isoKey = key;
  for (const std::string_view suffix : {"i", "e", "1987", "1988", "1989", "1992", "1998"}) {
    if (isoKey.size() > suffix.size() &&
        isoKey.compare(isoKey.size() - suffix.size(), suffix.size(), suffix) == 0) {
      isoKey.erase(isoKey.size() - suffix.size());
      break;
    }
  }
  const std::string_view part = numberAfter(isoKey, kIsoPrefixes);
  if (!part.empty() && part.size() <= 2) {
    if (part == "1") {
      return {CharsetKind::kConverter, "windows-1252"};
    }
    if (part == "9") {
      return {CharsetKind::kConverter, "windows-1254"};
    }
    if (part == "11") {
      return {CharsetKind::kConverter, "windows-874"};
    }
    return {CharsetKind::kConverter, "iso-8859-" + std::string(part)};
  }
  return {CharsetKind::kConverter, std::string(name)};
}

}  // namespace brennox::text
