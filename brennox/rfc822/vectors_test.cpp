// Header values collected by another project, with its results. Rows whose expectation is not
// shared stand in a table below, each with the reason and with what we read instead.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "core/fixtures_for_test.h"
#include "rfc822/address_list.h"
#include "rfc822/date.h"
#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "text/ascii.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

using Json = nlohmann::json;

Json rows(const std::string& kind) {
  std::ifstream file(fixturePath("vectors/stalwart-" + kind + ".json"));
  EXPECT_TRUE(file.is_open()) << kind;
  return Json::parse(file);
}

// The value as a header holds it: what follows a line that begins without a blank is another field.
std::string valueOf(const Json& row) {
  const std::string bytes = "X: " + row.at("header").get<std::string>();
  FieldScanner scanner(bytes);
  HeaderField field;
  EXPECT_TRUE(scanner.next(field)) << bytes;
  return std::string(field.value);
}

struct Dissent {
  std::string_view header;
  std::string_view result;
  std::string_view reason;
};

const Dissent* dissentFrom(const Json& row, const std::vector<Dissent>& dissents) {
  for (const Dissent& dissent : dissents) {
    if (row.at("header").get<std::string>() == dissent.header) {
      return &dissent;
    }
  }
  return nullptr;
}

std::string nameAndAddress(const Json& mailbox) {
  const auto text = [](const Json& value) {
    return value.is_string() ? value.get<std::string>() : std::string();
  };
  return text(mailbox.at("name")) + "|" + text(mailbox.at("address")) + "\n";
}

TEST(Vectors, Addresses) {
  const std::vector<Dissent> dissents = {
      {"Pete(A nice \n \\\n ) chap) <pete(his\n account)@silly\n .test(his host)>\n",
       "Pete chap|pete@silly.test\n",
       "comments are no part of a name that is there (RFC 5322 A.5); this one ends before "
       "\"chap\", since "
       "the backslash quotes the blank after the fold"},
  };
  std::size_t dissented = 0;
  for (const Json& row : rows("address")) {
    std::string expected;
    const Json& result = row.at("expected");
    if (result.contains("List")) {
      for (const Json& mailbox : result.at("List")) {
        expected += nameAndAddress(mailbox);
      }
    } else {
      for (const Json& group : result.at("Group")) {
        for (const Json& mailbox : group.at("addresses")) {
          expected += nameAndAddress(mailbox);
        }
      }
    }
    if (const Dissent* const dissent = dissentFrom(row, dissents)) {
      EXPECT_NE(expected, dissent->result) << "no dissent any more";
      expected = dissent->result;
      ++dissented;
    }
    std::vector<Mailbox> mailboxes;
    parseAddressList(valueOf(row), "", EncodedWords::kDecode, mailboxes);
    std::string actual;
    for (const Mailbox& mailbox : mailboxes) {
      actual += mailbox.name + "|" + mailbox.address + "\n";
    }
    EXPECT_EQ(actual, expected) << row.at("header");
  }
  EXPECT_EQ(dissented, dissents.size());
}

std::optional<std::time_t> seconds(const Json& date) {
  if (date.is_null()) {
    return std::nullopt;
  }
  const auto number = [&date](const char* name) { return date.at(name).get<int>(); };
  const int zone = (number("tz_hour") * 60 + number("tz_minute")) *
                   (date.at("tz_before_gmt").get<bool>() ? -1 : 1);
  const long long days = daysFromCivil(number("year"), number("month"), number("day"));
  return static_cast<std::time_t>(
      ((days * 24 + number("hour")) * 60 + number("minute") - zone) * 60 + number("second"));
}

TEST(Vectors, Dates) {
  const std::vector<Dissent> dissents = {
      {" 4 8 15 16 23 42, 4 8 15 16 23 42, 4 8 15 16 23 42, ", "-1",
       "numbers in a row are no date: a reader is better served with none than with a made-up one"},
  };
  std::size_t dissented = 0;
  for (const Json& row : rows("date")) {
    std::time_t expected = seconds(row.at("expected")).value_or(-1);
    if (dissentFrom(row, dissents) != nullptr) {
      expected = -1;
      ++dissented;
    }
    EXPECT_EQ(parseDate(valueOf(row)), expected) << row.at("header");
  }
  EXPECT_EQ(dissented, dissents.size());
}

TEST(Vectors, DatesOfReceivedFields) {
  const std::vector<Dissent> dissents = {
      {"from smtp.greyware.com(208.14.208.51, HELO smtp.sff.net) by x.x.org via smap (V1.3) id "
       "xma002908; Fri, 27 Feb 04 14:16:56 -0800\n",
       "Fri, 27 Feb 2004 22:16:56 +0000", "a year of two digits is not the year 4"},
      {"from TCE-E-7-182-54.bta.net.cn(202.106.182.54) via SMTP by st.tahina.priv.at, id "
       "smtpdEDUB8h; Sun Nov 13 14:50:12 2005\n",
       "Sun, 13 Nov 2005 14:50:12 +0000", "the form of asctime is read, not mixed up"},
      {"from MjA3NDc4Mg (unknown) by ismtpd0001p1lon1.sendgrid.net (SG) with HTTP id "
       "aqHKNX2kSp-HiqspAa-uvw for <email@e.example.com>; Thu, 02 Apr 2020 07:53:55.516 +0000 "
       "(UTC)\n",
       "Thu, 02 Apr 2020 07:53:55 +0000", "a fraction after the seconds does not make them 0"},
  };
  std::size_t dates = 0;
  std::size_t dissented = 0;
  for (const Json& row : rows("received")) {
    const Json& expected = row.at("expected");
    std::time_t date = expected.contains("date") ? seconds(expected.at("date")).value_or(-1) : -1;
    dates += date == -1 ? 0 : 1;
    if (const Dissent* const dissent = dissentFrom(row, dissents)) {
      date = parseDate(dissent->result);
      ++dissented;
    }
    EXPECT_EQ(parseReceivedDate(valueOf(row)), date) << row.at("header");
  }
  EXPECT_GT(dates, 20U);
  EXPECT_EQ(dissented, dissents.size());
}

TEST(Vectors, MessageIDs) {
  for (const Json& row : rows("id")) {
    std::vector<std::string> ids;
    parseMessageIDs(valueOf(row), ids);
    EXPECT_EQ(Json(ids), row.at("expected")) << row.at("header");
  }
}

TEST(Vectors, Texts) {
  for (const Json& row : rows("unstructured")) {
    EXPECT_EQ(text::decodeWords(valueOf(row)), row.at("expected").get<std::string>())
        << row.at("header");
  }
}

// Lists of words have no property of their own; their text is what an extra field reads as.
TEST(Vectors, Lists) {
  for (const Json& row : rows("list")) {
    const std::string text = text::decodeWords(valueOf(row));
    std::vector<std::string> items;
    for (std::size_t start = 0; start <= text.size();) {
      const std::size_t end = std::min(text.find(',', start), text.size());
      const std::string_view item =
          text::trimmed(std::string_view(text).substr(start, end - start));
      if (!item.empty()) {
        items.emplace_back(item);
      }
      start = end + 1;
    }
    EXPECT_EQ(Json(items), row.at("expected")) << row.at("header");
  }
}

TEST(Vectors, ContentTypes) {
  const std::vector<Dissent> dissents = {
      {"name=value\n", "|name=value\n",
       "an equals sign is in no type (RFC 2045 section 5.1): this is a parameter whose type is "
       "missing"},
      {" ;charset=us-ascii\n", "|charset=us-ascii\n",
       "a parameter is kept where the type is missing"},
      {"/ ;charset=us-ascii\n", "|charset=us-ascii\n", "the same"},
      {"/plain ;charset=us-ascii\n", "|charset=us-ascii\n", "the same"},
  };
  std::size_t dissented = 0;
  for (const Json& row : rows("content_type")) {
    const Json& result = row.at("expected");
    std::string expected = "|";
    if (!result.is_null()) {
      expected = result.at("c_type").get<std::string>();
      if (result.at("c_subtype").is_string()) {
        expected += "/" + result.at("c_subtype").get<std::string>();
      }
      expected += "|";
      if (result.contains("attributes") && !result.at("attributes").is_null()) {
        std::string language;
        for (const Json& attribute : result.at("attributes")) {
          const auto name = attribute.at(0).get<std::string>();
          // We keep the language beside the value, not as a parameter of its own.
          if (name.size() > 9 && name.substr(name.size() - 9) == "-language") {
            language = attribute.at(1).get<std::string>();
            continue;
          }
          expected += name + "=" + attribute.at(1).get<std::string>() +
                      (language.empty() ? "" : "'" + language) + "\n";
          language.clear();
        }
      }
    }
    if (const Dissent* const dissent = dissentFrom(row, dissents)) {
      EXPECT_NE(expected, dissent->result) << "no dissent any more";
      expected = dissent->result;
      ++dissented;
    }
    const ParameterizedValue value = parseParameterized(valueOf(row));
    std::string actual(value.type());
    actual += value.subtype().empty() ? "" : "/" + std::string(value.subtype());
    actual += "|";
    for (const Parameter& parameter : value.parameters) {
      actual += parameter.name + "=" + parameter.value +
                (parameter.language.empty() ? "" : "'" + parameter.language) + "\n";
    }
    EXPECT_EQ(actual, expected) << row.at("header");
  }
  EXPECT_EQ(dissented, dissents.size());
}

}  // namespace
}  // namespace brennox::rfc822
