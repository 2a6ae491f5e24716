#include "rfc822/date.h"

#include <gtest/gtest.h>

#include <utility>

namespace brennox::rfc822 {
namespace {

constexpr std::time_t at(int year, int month, int day, int hour = 0, int minute = 0,
                         int second = 0) {
  return static_cast<std::time_t>(
      ((daysFromCivil(year, month, day) * 24 + hour) * 60 + minute) * 60 + second);
}

struct Case {
  std::string_view text;
  std::time_t seconds;
};

TEST(Date, ReadsTheFormsThatMailHas) {
  const Case cases[] = {
      {"Fri, 21 Nov 1997 09:55:06 -0600", at(1997, 11, 21, 15, 55, 6)},
      {"21 Nov 1997 09:55:06 -0600", at(1997, 11, 21, 15, 55, 6)},
      {"Fri, 21 Nov 1997 09(comment):   55  :  06 -0600", at(1997, 11, 21, 15, 55, 6)},
      {"Fri,21 Nov 1997 09:55:06-0600", at(1997, 11, 21, 15, 55, 6)},
      {"Fri, 21 Nov 1997 09:55 -0600 (CST)", at(1997, 11, 21, 15, 55)},
      {"(a (nested \\) ) comment) 21 Nov 1997 09:55:06 GMT", at(1997, 11, 21, 9, 55, 6)},
      {"Fri, 21-Nov-1997 09:55:06 GMT", at(1997, 11, 21, 9, 55, 6)},
      {"21-Nov-97 09:55:06 GMT", at(1997, 11, 21, 9, 55, 6)},
      {"=?utf-8?Q?Fri,_21_Nov_1997_09:55:06_-0600?=", at(1997, 11, 21, 15, 55, 6)},
      {"Fri Nov 21 09:55:06 1997", at(1997, 11, 21, 9, 55, 6)},
      {"Fri Nov 21 09:55:06 EST 1997", at(1997, 11, 21, 14, 55, 6)},
      {"Fri Nov 21 09:55:06 1997 +0100", at(1997, 11, 21, 8, 55, 6)},
      {"Nov 21, 1997 9:55 PM", at(1997, 11, 21, 21, 55)},
      {"Nov 21, 1997 12:05 AM -0100", at(1997, 11, 21, 1, 5)},
      {"1997-11-21T09:55:06Z", at(1997, 11, 21, 9, 55, 6)},
      {"1997-11-21T09:55:06.250+01:00", at(1997, 11, 21, 8, 55, 6)},
      {"1997-11-21 09:55:06 +0300", at(1997, 11, 21, 6, 55, 6)},
      {"Fri, 21 November 1997 09:55:06 GMT", at(1997, 11, 21, 9, 55, 6)},
      {"21 Sept 2004 09:55:06 GMT", at(2004, 9, 21, 9, 55, 6)},
      {"Fr, 21 Nov 1997 09:55:06 +0000", at(1997, 11, 21, 9, 55, 6)},
      {"Fri, 21 Nov 1997 09.55.06 +0000", at(1997, 11, 21, 9, 55, 6)},
      {"21 Nov 1997", at(1997, 11, 21)},
      {"Fri, 21 Nov 1997 09:55:06 GMT+0200", at(1997, 11, 21, 7, 55, 6)},
      {"Fri, 21 Nov 1997 09:55:06 UTC", at(1997, 11, 21, 9, 55, 6)},
      {"Fri, 21 Nov 1997 09:55:06", at(1997, 11, 21, 9, 55, 6)},
      {"Fri, 21 Nov 1997 09:55:60 +0000", at(1997, 11, 21, 9, 56)},
      {"Fri, 21 Nov 1997 24:00:00 +0000", at(1997, 11, 22)},
      {"Tue, 29 Feb 2000 00:00:00 +0000", at(2000, 2, 29)},
      {"Mon, 1 Jan 1900 00:00:00 +0000", at(1900, 1, 1)},
      {"Fri, 31 Dec 9999 23:59:59 +0000", at(9999, 12, 31, 23, 59, 59)},
      {"Fri, 21 Nov 1997\r\n 09:55:06\r\n\t+0000", at(1997, 11, 21, 9, 55, 6)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parseDate(c.text), c.seconds) << c.text;
  }
}

TEST(Date, AcceptsTwoAndThreeDigitYears) {
  const Case cases[] = {
      {"1 Jan 00 00:00:00 GMT", at(2000, 1, 1)},  {"1 Jan 49 00:00:00 GMT", at(2049, 1, 1)},
      {"1 Jan 50 00:00:00 GMT", at(1950, 1, 1)},  {"1 Jan 99 00:00:00 GMT", at(1999, 1, 1)},
      {"1 Jan 103 00:00:00 GMT", at(2003, 1, 1)},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parseDate(c.text), c.seconds) << c.text;
  }
}

TEST(Date, KnowsZonesByName) {
  const std::pair<std::string_view, int> zones[] = {
      {"UT", 0},      {"GMT", 0},      {"Z", 0},      {"EST", -300},     {"EDT", -240},
      {"CST", -360},  {"CDT", -300},   {"MST", -420}, {"MDT", -360},     {"PST", -480},
      {"PDT", -420},  {"pdt", -420},   {"CET", 60},   {"CEST", 120},     {"MSK", 180},
      {"JST", 540},   {"A", 0},        {"XYZ", 0},    {"EST5EDT", -300}, {"-0000", 0},
      {"+0530", 330}, {"+14:00", 840}, {"+2", 120},   {"-9999", 0},
  };
  for (const auto& [zone, minutes] : zones) {
    EXPECT_EQ(parseDate("1 Jan 2021 12:00:00 " + std::string(zone)),
              at(2021, 1, 1, 12) - minutes * 60)
        << zone;
  }
}

TEST(Date, GarbageIsNoDate) {
  for (const std::string_view text : {"",
                                      " ",
                                      "now",
                                      "yesterday",
                                      "Fri, 32 Nov 1997 09:55:06 GMT",
                                      "0 Nov 1997 09:55 GMT",
                                      "31 Feb 2021 09:55:06 GMT",
                                      "29 Feb 2100 00:00:00 GMT",
                                      "13 zzz 2021 09:55:06 +0200",
                                      "21 Nov 1997 25:00:00 GMT",
                                      "21 Nov 1997 09:75:00 GMT",
                                      "21 Nov 1997 24:00:01 GMT",
                                      "21 Nov 99999 09:55:06 GMT",
                                      "21 Nov 1234 09:55:06 GMT",
                                      "12345678901234567890",
                                      "1997-13-21T09:55:06Z",
                                      "1997-11",
                                      "4 8 15 16 23 42",
                                      "Nov",
                                      "21 Nov",
                                      "((((("}) {
    EXPECT_EQ(parseDate(text), -1) << text;
  }
}

TEST(Date, OfAReceivedFieldFollowsTheLastSemicolon) {
  EXPECT_EQ(parseReceivedDate("from a (b; c) by d; Fri, 21 Nov 1997 09:55:06 GMT"),
            at(1997, 11, 21, 9, 55, 6));
  EXPECT_EQ(parseReceivedDate("from a by d Fri, 21 Nov 1997 09:55:06 GMT"), -1);
  EXPECT_EQ(parseReceivedDate(""), -1);
}

TEST(Date, IsWrittenInUtcWithItsDayOfTheWeek) {
  EXPECT_EQ(formatDate(0), "Thu, 01 Jan 1970 00:00:00 +0000");
  EXPECT_EQ(formatDate(-1), "Wed, 31 Dec 1969 23:59:59 +0000");
  EXPECT_EQ(formatDate(at(2000, 2, 29, 23, 59, 59)), "Tue, 29 Feb 2000 23:59:59 +0000");
  EXPECT_EQ(formatDate(std::numeric_limits<std::time_t>::max()), "Fri, 31 Dec 9999 23:59:59 +0000");
}

TEST(Date, IsReadBackAsItWasWritten) {
  for (std::time_t seconds = at(1900, 1, 1); seconds < at(2400, 1, 1); seconds += 8'765'431) {
    ASSERT_EQ(parseDate(formatDate(seconds)), seconds);
  }
}

}  // namespace
}  // namespace brennox::rfc822
