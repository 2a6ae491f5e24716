// Dates are read as a bag of tokens rather than by one grammar: which token is what follows from
// its own form and from what is already known, so the forms of RFC 822, asctime and others need no
// cases of their own.
#include "rfc822/date.h"

#include <array>
#include <cstdint>
#include <optional>

#include "rfc822/cursor.h"
#include "text/ascii.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

using text::isAlpha;
using text::isDigit;
using text::toLower;

// No date has more of them; what follows is not looked at.
constexpr int kMaxTokens = 24;

constexpr std::string_view kMonths[] = {"january",   "february", "march",    "april",
                                        "may",       "june",     "july",     "august",
                                        "september", "october",  "november", "december"};
constexpr std::string_view kShortMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::string_view kShortDays[] = {"Thu", "Fri", "Sat", "Sun", "Mon", "Tue", "Wed"};

struct ZoneName {
  std::string_view name;
  int minutes;
};

// RFC 5322 section 4.3 and what software puts there besides. Military letters were defined the
// wrong way round in RFC 822 and say nothing but "unknown", which is 0 like every other name.
constexpr ZoneName kZones[] = {
    {"est", -300}, {"edt", -240}, {"cst", -360},  {"cdt", -300},  {"mst", -420}, {"mdt", -360},
    {"pst", -480}, {"pdt", -420}, {"akst", -540}, {"akdt", -480}, {"hst", -600}, {"ast", -240},
    {"adt", -180}, {"nst", -210}, {"ndt", -150},  {"bst", 60},    {"wet", 0},    {"west", 60},
    {"cet", 60},   {"cest", 120}, {"met", 60},    {"mest", 120},  {"mez", 60},   {"mesz", 120},
    {"eet", 120},  {"eest", 180}, {"msk", 180},   {"msd", 240},   {"jst", 540},  {"kst", 540},
    {"hkt", 480},  {"sgt", 480},  {"ist", 330},   {"sast", 120},  {"aest", 600}, {"aedt", 660},
    {"acst", 570}, {"acdt", 630}, {"awst", 480},  {"nzst", 720},  {"nzdt", 780}, {"brt", -180},
};

// 1 to 12 for a month's name in English, cut off after three letters or later; 0 for another word.
int monthNamed(std::string_view word) {
  for (std::size_t i = 0; i < std::size(kMonths); ++i) {
    if (word.size() >= 3 && text::startsWithIgnoringCase(kMonths[i], word)) {
      return static_cast<int>(i) + 1;
    }
  }
  return 0;
}

constexpr bool isLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysIn(int year, int month) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeap(year) ? 29 : kDays[static_cast<std::size_t>(month) - 1];
}

class DateParser {
 public:
  explicit DateParser(std::string_view text) : in_(text) {}

  std::time_t parse() {
    for (int i = 0; i < kMaxTokens && token(); ++i) {
    }
    return result();
  }

 private:
  // Consumes one token; false at the end of the text or of what can be a date.
  bool token() {
    in_.skipWhiteSpaceAndComments();
    if (in_.atEnd()) {
      return false;
    }
    const char c = in_.peek();
    if (isDigit(c)) {
      return number();
    }
    if (isAlpha(c)) {
      return word();
    }
    // Before the time a hyphen only divides: 21-Nov-1997.
    if ((c == '+' || c == '-') && hour_ >= 0 && isDigit(in_.peek(1))) {
      zoneOffset();
      return true;
    }
    in_.skip();
    return true;
  }

  std::string_view digits() {
    return in_.takeWhile([](char c) { return isDigit(c); });
  }

  // Up to nine digits; more are no number that a date could have.
  static int valueOf(std::string_view digits) {
    if (digits.size() > 9) {
      return -1;
    }
    int value = 0;
    for (const char c : digits) {
      value = value * 10 + (c - '0');
    }
    return value;
  }

  bool number() {
    const std::string_view text = digits();
    const int value = valueOf(text);
    if (value < 0) {
      return false;
    }
    const char next = in_.peek();
    if (hour_ < 0 && text.size() <= 2) {
      const Cursor::Checkpoint afterNumber = in_.checkpoint();
      in_.skipWhiteSpaceAndComments();
      if (in_.peek() == ':') {
        return time(value, ':');
      }
      in_.restore(afterNumber);
    }
    if ((next == '-' || next == '/') && text.size() == 4 && !year_ && isDigit(in_.peek(1))) {
      return isoDate(value);
    }
    if (next == '.' && hour_ < 0 && day_ != 0 && month_ != 0 && year_ && text.size() <= 2 &&
        isDigit(in_.peek(1))) {
      return time(value, '.');
    }
    if (day_ == 0 && text.size() <= 2) {
      day_ = value;
      return value >= 1 && value <= 31;
    }
    if (!year_ && text.size() >= 2) {
      // RFC 5322 section 4.3: two digits below 50 are in this century, three count from 1900.
      year_ = text.size() == 2   ? value + (value < 50 ? 2000 : 1900)
              : text.size() == 3 ? value + 1900
                                 : value;
      return true;
    }
    // Asctime with a zone of digits only has nowhere else to go; what else is left over is noise.
    return true;
  }

  bool time(int hour, char separator) {
    hour_ = hour;
    in_.skip();
    in_.skipWhiteSpaceAndComments();
    minute_ = valueOf(digits());
    second_ = 0;
    const Cursor::Checkpoint afterMinute = in_.checkpoint();
    in_.skipWhiteSpaceAndComments();
    if (!in_.take(separator)) {
      in_.restore(afterMinute);
      return true;
    }
    in_.skipWhiteSpaceAndComments();
    if (isDigit(in_.peek())) {
      second_ = valueOf(digits());
      if ((in_.peek() == '.' || in_.peek() == ',') && isDigit(in_.peek(1))) {
        in_.skip();
        digits();
      }
    }
    return true;
  }

  // 2021-01-02, the T after it is a word of one letter.
  bool isoDate(int year) {
    const char separator = in_.peek();
    in_.skip();
    const std::string_view month = digits();
    if (in_.peek() != separator) {
      return false;
    }
    in_.skip();
    const std::string_view day = digits();
    if (month.size() > 2 || day.size() > 2) {
      return false;
    }
    year_ = year;
    month_ = valueOf(month);
    day_ = valueOf(day);
    if (toLower(in_.peek()) == 't') {
      in_.skip();
    }
    return month_ >= 1 && month_ <= 12 && day_ >= 1;
  }

  bool word() {
    const std::string_view text = in_.takeWhile([](char c) { return isAlpha(c); });
    if (month_ == 0 && (month_ = monthNamed(text)) != 0) {
      return true;
    }
    if (hour_ < 0) {
      // A day of the week in any language.
      return true;
    }
    if (text::equalsIgnoringCase(text, "pm")) {
      hour_ += hour_ < 12 ? 12 : 0;
      return true;
    }
    if (text::equalsIgnoringCase(text, "am")) {
      hour_ = hour_ == 12 ? 0 : hour_;
      return true;
    }
    if (!zone_) {
      zoneName(text);
    }
    return true;
  }

  void zoneName(std::string_view name) {
    for (const ZoneName& zone : kZones) {
      if (text::equalsIgnoringCase(name, zone.name)) {
        zone_ = zone.minutes;
        // EST5EDT: the rest says the same in another way.
        in_.takeWhile([](char c) { return isDigit(c) || isAlpha(c); });
        return;
      }
    }
    // GMT+0200: an offset may follow.
    const bool offset = (in_.peek() == '+' || in_.peek() == '-') && isDigit(in_.peek(1));
    if (!offset && (year_ || name.size() == 3)) {
      zone_ = 0;
    }
  }

  void zoneOffset() {
    const bool west = in_.peek() == '-';
    in_.skip();
    const std::string_view text = digits();
    int hours = 0;
    int minutes = 0;
    if (text.size() <= 2) {
      hours = valueOf(text);
      if (in_.peek() == ':' && isDigit(in_.peek(1))) {
        in_.skip();
        minutes = valueOf(digits());
      }
    } else if (text.size() <= 4) {
      hours = valueOf(text.substr(0, text.size() - 2));
      minutes = valueOf(text.substr(text.size() - 2));
    } else {
      return;
    }
    if (zone_ || hours > 23 || minutes > 59) {
      return;
    }
    zone_ = (hours * 60 + minutes) * (west ? -1 : 1);
  }

  std::time_t result() const {
    if (month_ == 0 || month_ > 12 || !year_ || *year_ < 1900 || *year_ > 9999 || day_ < 1 ||
        day_ > daysIn(*year_, month_)) {
      return -1;
    }
    const int hour = hour_ < 0 ? 0 : hour_;
    // 60 is a leap second; 24:00 is the day's end.
    if (hour > 24 || minute_ < 0 || minute_ > 59 || second_ < 0 || second_ > 60 ||
        (hour == 24 && minute_ + second_ > 0)) {
      return -1;
    }
    const long long days = daysFromCivil(*year_, month_, day_);
    return static_cast<std::time_t>(((days * 24 + hour) * 60 + minute_ - zone_.value_or(0)) * 60 +
                                    second_);
  }

  Cursor in_;
  int day_ = 0;
  int month_ = 0;
  std::optional<int> year_;
  int hour_ = -1;
  int minute_ = 0;
  int second_ = 0;
  std::optional<int> zone_;  // minutes east
};

void appendTwoDigits(long long value, std::string& out) {
  out += static_cast<char>('0' + value / 10 % 10);
  out += static_cast<char>('0' + value % 10);
}

}  // namespace

std::time_t parseDate(std::string_view text) {
  if (text.find("=?") != std::string_view::npos) {
    // Some programs encode whatever they write.
    return DateParser(text::decodeWords(text)).parse();
  }
  return DateParser(text).parse();
}

std::time_t parseReceivedDate(std::string_view value) {
  const std::size_t semicolon = value.rfind(';');
  return semicolon == std::string_view::npos ? -1 : parseDate(value.substr(semicolon + 1));
}

std::string formatDate(std::time_t seconds) {
  constexpr long long kSecondsADay = 86400;
  constexpr long long kLast = 253402300799;   // the end of 9999
  constexpr long long kFirst = -62167219200;  // the beginning of 0
  long long total = seconds;
  total = total > kLast ? kLast : total < kFirst ? kFirst : total;
  long long days = total / kSecondsADay;
  long long rest = total % kSecondsADay;
  if (rest < 0) {
    rest += kSecondsADay;
    --days;
  }
  // The inverse of daysFromCivil, with years that begin in March.
  const long long shifted = days + 719468;
  const long long era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
  const long long dayOfEra = shifted - era * 146097;
  const long long yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long marchMonth = (5 * dayOfYear + 2) / 153;
  const long long day = dayOfYear - (153 * marchMonth + 2) / 5 + 1;
  const long long month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

  std::string out;
  out.reserve(31);
  out += kShortDays[static_cast<std::size_t>((days % 7 + 7) % 7)];
  out += ", ";
  appendTwoDigits(day, out);
  out += ' ';
  out += kShortMonths[static_cast<std::size_t>(month) - 1];
  out += ' ';
  appendTwoDigits(year / 100, out);
  appendTwoDigits(year % 100, out);
  out += ' ';
  appendTwoDigits(rest / 3600, out);
  out += ':';
  appendTwoDigits(rest / 60 % 60, out);
  out += ':';
  appendTwoDigits(rest % 60, out);
  out += " +0000";
  return out;
}

}  // namespace brennox::rfc822
