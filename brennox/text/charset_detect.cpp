// Guessing the charset of a text that names none, or a useless one.
#include <unicode/ucsdet.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>

#include "text/ascii.h"
#include "text/charset.h"
#include "text/charset_names.h"
#include "text/utf8.h"

namespace brennox::text {
namespace {

// The detector's cost grows with its input, its answer hardly changes.
constexpr std::size_t kMaxSample = 8192;
// Shorter runs of 8-bit bytes say nothing to the detector's statistics.
constexpr std::size_t kMinHighBytesForGuess = 6;
// Accented letters in a Latin text, and letters of a text in another script, below which the
// detector's guess is worse than the usual charset.
constexpr std::size_t kMinAccentsForGuess = 10;
constexpr std::size_t kMinWordsForGuess = 24;
// Fewer letters are rather symbols or abbreviations than a word.
constexpr std::size_t kMinWordLength = 3;
// Below this (of 100) the detector does not know either.
constexpr int32_t kMinConfidence = 12;

struct HighBytes {
  std::size_t count = 0;
  std::size_t runs = 0;
  std::size_t firstHalf = 0;   // C0..DF
  std::size_t secondHalf = 0;  // E0..FF
  std::size_t letters = 0;     // ASCII letters
};

HighBytes countHighBytes(std::string_view bytes) {
  HighBytes result;
  bool inRun = false;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      result.letters += isAlpha(c) ? 1 : 0;
      inRun = false;
      continue;
    }
    result.runs += inRun ? 0 : 1;
    inRun = true;
    ++result.count;
    if (byte >= 0xC0) {
      ++(byte < 0xE0 ? result.firstHalf : result.secondHalf);
    }
  }
  return result;
}

// UTF-8 but for a last character that is not whole: fields and file names are cut at some length.
bool isCutUtf8(std::string_view bytes) {
  std::size_t cut = 1;
  while (cut < bytes.size() && cut < 4 &&
         (static_cast<unsigned char>(bytes[bytes.size() - cut]) & 0xC0) == 0x80) {
    ++cut;
  }
  if (cut >= bytes.size() || utf8Length(bytes[bytes.size() - cut]) <= cut) {
    return false;
  }
  const std::string_view whole = bytes.substr(0, bytes.size() - cut);
  return !isAscii(whole) && isValidUtf8(whole);
}

// ISO-2022-JP and -KR announce themselves by escapes that no other text has.
std::string_view detectEscapes(std::string_view bytes) {
  for (std::size_t at = bytes.find('\x1B'); at != std::string_view::npos;
       at = bytes.find('\x1B', at + 1)) {
    const std::string_view rest = bytes.substr(at + 1, 3);
    if (rest.substr(0, 2) == "$B" || rest.substr(0, 2) == "$@" || rest == "$(D" ||
        rest.substr(0, 2) == "(J" || rest.substr(0, 2) == "(I") {
      return "iso-2022-jp";
    }
    if (rest == "$)C") {
      return "iso-2022-kr";
    }
  }
  return {};
}

// The lines with 8-bit bytes, as far as the sample reaches: the rest only dilutes the statistics.
std::string sampleOf(std::string_view bytes) {
  std::string sample;
  const char* const end = bytes.data() + bytes.size();
  const char* p = bytes.data();
  while (sample.size() < kMaxSample) {
    const char* const high = skipAscii(p, end);
    if (high == end) {
      break;
    }
    const char* from = high;
    while (from != p && from[-1] != '\n' && high - from < 64) {
      --from;
    }
    const auto* to =
        static_cast<const char*>(std::memchr(high, '\n', static_cast<std::size_t>(end - high)));
    to = to == nullptr ? end : to + 1;
    sample.append(from, std::min(static_cast<std::size_t>(to - from), kMaxSample - sample.size()));
    p = to;
  }
  return sample;
}

bool decodesWithoutLoss(std::string_view bytes, std::string_view charset) {
  std::string text;
  return appendInCharset(bytes, charset, text) && text.find(kReplacement) == std::string::npos;
}

// How many bytes are part of two-byte characters in the range that all East Asian charsets share.
bool comesInPairs(std::string_view bytes) {
  std::size_t run = 0;
  std::size_t odd = 0;
  std::size_t even = 0;
  for (const char c : bytes) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      ++run;
      continue;
    }
    if (run != 0) {
      ++(run % 2 == 0 ? even : odd);
    }
    run = 0;
  }
  if (run != 0) {
    ++(run % 2 == 0 ? even : odd);
  }
  return even > odd * 2;
}

// Pairs that are all syllables of EUC-KR, in words: Chinese and Japanese have neither their blanks
// nor only characters of the first rows. Short texts are too little for the detector.
bool looksKorean(std::string_view bytes) {
  std::size_t syllables = 0;
  std::size_t others = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    if (first < 0x80) {
      continue;
    }
    const auto second = static_cast<unsigned char>(i + 1 < bytes.size() ? bytes[i + 1] : '\0');
    if (second < 0xA1) {
      return false;
    }
    ++(first >= 0xB0 && first <= 0xC8 ? syllables : others);
    ++i;
  }
  constexpr std::size_t kMinSyllables = 6;
  return syllables >= kMinSyllables && syllables > others * 12;
}

// Greek has its accented letters amid the small ones where the Cyrillic set has capitals.
bool looksGreek(std::string_view bytes) {
  std::size_t accents = 0;
  std::size_t words = 0;
  bool afterSmall = false;
  bool inWord = false;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    words += byte >= 0x80 && !inWord ? 1 : 0;
    inWord = byte >= 0x80;
    accents += afterSmall && byte >= 0xDC && byte <= 0xDF ? 1 : 0;
    afterSmall = byte >= 0xE1;
  }
  return accents >= 2 && accents * 4 >= words;
}

// Names of the detector that a mail may well be in; the others (EBCDIC, UTF-16 without mark) are
// its mistakes.
constexpr std::string_view kPlausible[] = {
    "Shift_JIS",    "ISO-2022-JP",  "ISO-2022-CN",  "ISO-2022-KR",  "GB18030",      "Big5",
    "EUC-JP",       "EUC-KR",       "ISO-8859-1",   "ISO-8859-2",   "ISO-8859-5",   "ISO-8859-6",
    "ISO-8859-7",   "ISO-8859-8",   "ISO-8859-8-I", "ISO-8859-9",   "windows-1250", "windows-1251",
    "windows-1252", "windows-1253", "windows-1254", "windows-1255", "windows-1256", "KOI8-R"};

std::string_view askDetector(std::string_view sample) {
  struct Close {
    void operator()(UCharsetDetector* detector) const { ucsdet_close(detector); }
  };
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UCharsetDetector, Close> detector(ucsdet_open(&error));
  if (U_FAILURE(error) != 0) {
    return {};
  }
  ucsdet_setText(detector.get(), sample.data(), static_cast<int32_t>(sample.size()), &error);
  int32_t found = 0;
  const UCharsetMatch** const matches = ucsdet_detectAll(detector.get(), &found, &error);
  if (U_FAILURE(error) != 0) {
    return {};
  }
  for (int32_t i = 0; i < found; ++i) {
    const int32_t confidence = ucsdet_getConfidence(matches[i], &error);
    const char* const name = ucsdet_getName(matches[i], &error);
    if (U_FAILURE(error) != 0 || confidence < kMinConfidence) {
      return {};
    }
    const auto* const plausible =
        std::find(std::begin(kPlausible), std::end(kPlausible), std::string_view(name));
    if (plausible != std::end(kPlausible) && decodesWithoutLoss(sample, *plausible)) {
      return *plausible;
    }
  }
  return {};
}

}  // namespace

std::string_view detectCharset(std::string_view bytes, std::string_view hint) {
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
    return "utf-8";
  }
  if (bytes.substr(0, 2) == "\xFF\xFE") {
    return "utf-16le";
  }
  if (bytes.substr(0, 2) == "\xFE\xFF") {
    return "utf-16be";
  }
  if (isAscii(bytes)) {
    const std::string_view escaped = detectEscapes(bytes);
    return escaped.empty() ? "us-ascii" : escaped;
  }
  if (isValidUtf8(bytes)) {
    return "utf-8";
  }
  if (isCutUtf8(bytes)) {
    return "utf-8";
  }
  const std::string sample = sampleOf(bytes);
  // A long text that was cut, or has one wrong byte in it, is still UTF-8.
  std::size_t valid = 0;
  std::size_t invalid = 0;
  for (const char *p = sample.data(), *end = p + sample.size();;) {
    p = skipAscii(p, end);
    if (p == end) {
      break;
    }
    const Utf8Step step = utf8Step(p, end);
    ++(step.valid ? valid : invalid);
    p += step.length;
  }
  if (valid > invalid * 4 && valid > 2) {
    return "utf-8";
  }
  if (!hint.empty() && decodesWithoutLoss(sample, hint)) {
    // The caller keeps the name only for the call, the result lives for ever: pick our own
    // spelling.
    for (const std::string_view name : kPlausible) {
      if (resolveCharset(name).converter == resolveCharset(hint).converter) {
        return name;
      }
    }
  }
  const HighBytes high = countHighBytes(sample);
  // Single accented letters in a text of Latin ones: Western Europe, unless there is enough of it
  // for the detector to know a language.
  const bool sparse = high.letters > high.count * 2 && high.count < high.runs + high.runs / 2 + 1;
  if (sparse && high.count < kMinAccentsForGuess) {
    return "windows-1252";
  }
  const std::size_t letters = high.firstHalf + high.secondHalf;
  if (!sparse && looksKorean(sample)) {
    return "EUC-KR";
  }
  if (!sparse && letters * 10 >= high.count * 9 && looksGreek(sample)) {
    return "windows-1253";
  }
  // Words of 8-bit letters in one half of the range: Cyrillic, whose two great charsets have their
  // small letters in different halves. Short texts are too little for the detector.
  if (!sparse && high.count >= kMinWordLength && high.count < kMinWordsForGuess &&
      letters * 10 >= high.count * 9 && !comesInPairs(sample)) {
    if (high.firstHalf > high.secondHalf * 2) {
      return "KOI8-R";
    }
    if (high.secondHalf > high.firstHalf * 2) {
      return "windows-1251";
    }
  }
  if (high.count >= kMinHighBytesForGuess) {
    const std::string_view guess = askDetector(sample);
    if (!guess.empty()) {
      return guess;
    }
  }
  return "windows-1252";
}

}  // namespace brennox::text
