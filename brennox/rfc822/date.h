// Dates of header fields (RFC 5322 sections 3.3 and 4.3) and what mail has in their place.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace brennox::rfc822 {

// Seconds since 1970-01-01 UTC, or -1 for what is no date. Reads obsolete zones, two-digit years,
// comments, missing seconds, zones and days of the week, the forms of asctime and ISO 8601.
std::time_t parseDate(std::string_view text);

// The date of a Received field's value: what follows its last semicolon. -1 if there is none.
std::time_t parseReceivedDate(std::string_view value);

// "Sat, 21 Nov 2026 13:51:05 +0000"; always in UTC. Years beyond 9999 read as 9999.
std::string formatDate(std::time_t seconds);

// Days from 1970-01-01 to a day of the Gregorian calendar; `month` is 1 to 12.
constexpr long long daysFromCivil(long long year, int month, int day) noexcept {
  year -= month <= 2 ? 1 : 0;
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const long long yearOfEra = year - era * 400;
  const long long dayOfYear = (153LL * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

}  // namespace brennox::rfc822
