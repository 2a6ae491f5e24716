#include "rfc822/parameters.h"

#include <gtest/gtest.h>

#include <random>

namespace brennox::rfc822 {
namespace {

std::string parsed(std::string_view raw, std::string_view charset = {}) {
  const ParameterizedValue value = parseParameterized(raw, charset);
  std::string out = value.value;
  for (const Parameter& parameter : value.parameters) {
    out += ";" + parameter.name + "=" + parameter.value;
  }
  return out;
}

struct Case {
  std::string_view raw;
  std::string_view result;
};

TEST(Parameters, ReadTokensAndQuotedStrings) {
  const Case cases[] = {
      {"", ""},
      {"text/plain", "text/plain"},
      {" Text / PLAIN ; Charset = \"utf-8\" ; format=flowed;",
       "text/plain;charset=utf-8;format=flowed"},
      {"text/plain (comment); charset=us-ascii (Plain text)", "text/plain;charset=us-ascii"},
      {"a/b; x=\"a\\\"b\"; y=\"c;d\"", "a/b;x=a\"b;y=c;d"},
      {"multipart/mixed;\r\n boundary=\"a\r\n b\"", "multipart/mixed;boundary=a b"},
      {"attachment; filename=\"C:\\temp\\new.txt\"", "attachment;filename=C:\\temp\\new.txt"},
      {"attachment; filename=\"C:\\temp\\\"; size=1", "attachment;filename=C:\\temp\\;size=1"},
      {"attachment; filename=\"\"", "attachment;filename="},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.result) << c.raw;
  }
}

TEST(Parameters, PutUpWithWhatSendersLeaveOut) {
  const Case cases[] = {
      {"attachment; filename=my file.pdf; size=3", "attachment;filename=my file.pdf;size=3"},
      {"attachment; filename=my file.pdf size=3", "attachment;filename=my file.pdf;size=3"},
      {"attachment; filename=a[1].pdf", "attachment;filename=a[1].pdf"},
      {"attachment; filename=\"unterminated.pdf; size=3",
       "attachment;filename=unterminated.pdf;size=3"},
      {"attachment;; ;filename=a", "attachment;filename=a"},
      {"attachment filename=a", "attachment;filename=a"},
      {"filename=a.pdf", ";filename=a.pdf"},
      {"text/plain; charset", "text/plain"},
      {"text/plain; =x; charset=utf-8", "text/plain;charset=utf-8"},
      {"text/plain; charset=\"utf-8\"junk; a=b", "text/plain;charset=utf-8;a=b"},
      {"\"text/plain\"; charset=utf-8", "text/plain;charset=utf-8"},
      {"text/plain; charset=utf-8 ; charset=koi8-r", "text/plain;charset=utf-8;charset=koi8-r"},
      {"a/b; name=\"one\" \"two\"", "a/b;name=onetwo"},
      {"text/html\r\n charset=utf-8", "text/html;charset=utf-8"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.result) << c.raw;
  }
  EXPECT_EQ(parseParameterized("a/b; x=1; x=2").get("x"), "1");
}

TEST(Parameters, JoinContinuations) {
  const Case cases[] = {
      {"a/b; x*=utf-8''%D0%9F", "a/b;x=П"},
      {"a/b; x*=utf-8'ru'%d0%9f", "a/b;x=П"},
      {"a/b; x*=''plain", "a/b;x=plain"},
      {"a/b; x*=plain", "a/b;x=plain"},
      {"a/b; x*=%D0%9F", "a/b;x=П"},
      {"a/b; x*=\"koi8-r''%F0\"", "a/b;x=П"},
      {"a/b; x*0=one; x*1=two", "a/b;x=onetwo"},
      {"a/b; x*1=two; x*0=one; x*2=three", "a/b;x=onetwothree"},
      {"a/b; x*0=one; x*2=three", "a/b;x=onethree"},
      {"a/b; x*0=one; x*0=again; x*1=two", "a/b;x=onetwo"},
      {"a/b; x*0*=utf-8''%D0; x*1*=%9F; x*2=\" z\"", "a/b;x=П z"},
      {"a/b; x*10=k; x*2=c; x*0=a", "a/b;x=ack"},
      {"a/b; x=plain; x*=utf-8''%D0%9F", "a/b;x=П;x=plain"},
      {"a/b; y=1; x*1=b; z=2; x*0=a", "a/b;y=1;x=ab;z=2"},
      {"a/b; x*=x-unknown''%E9", "a/b;x=é"},
      {"a/b; x*=utf-8''a%0D%0Ab%00", "a/b;x=ab"},
      {"a/b; x*=utf-8''50%; y=1", "a/b;x=50%;y=1"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.result) << c.raw;
  }
}

TEST(Parameters, DecodeWhatShouldNotBeThere) {
  const Case cases[] = {
      {"a/b; name=\"=?utf-8?Q?=D0=9F?=.txt\"", "a/b;name=П.txt"},
      {"a/b; name==?utf-8?B?0J8=?=", "a/b;name=П"},
      {"a/b; name=\"=?utf-8?Q?=D0?=\r\n =?utf-8?Q?=9F?=\"", "a/b;name=П"},
      {"a/b; name*0=\"=?utf-8?Q?=D0\"; name*1=\"=9F?=\"", "a/b;name=П"},
      {"a/b; name=\"\xD0\x9F.txt\"", "a/b;name=П.txt"},
      {"a/b; name=\"caf\xE9.txt\"", "a/b;name=café.txt"},
      // RFC 2231 form without its asterisk.
      {"a/b; name=\"utf-8''caf%C3%A9%20x.txt\"", "a/b;name=café x.txt"},
      {"a/b; name=\"it''s 50%25.txt\"", "a/b;name=it''s 50%25.txt"},
      {"a/b; name=\"a'b'c%20d\"", "a/b;name=a'b'c%20d"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parsed(c.raw), c.result) << c.raw;
  }
  EXPECT_EQ(parsed("a/b; name=\"\xF0\xD2\xC9\"", "koi8-r"), "a/b;name=При");
}

std::string written(std::string_view name, std::string_view value, bool encodedWord = false) {
  std::string out = "Content-Disposition: attachment";
  std::size_t column = out.size();
  if (encodedWord) {
    appendParameterAsEncodedWord(name, value, column, out);
  } else {
    appendParameter(name, value, column, out);
  }
  return out.substr(31);
}

TEST(Parameters, AreWrittenInTheSimplestForm) {
  EXPECT_EQ(written("filename", "a.txt"), "; filename=a.txt");
  EXPECT_EQ(written("filename", "a b.txt"), "; filename=\"a b.txt\"");
  EXPECT_EQ(written("filename", "a\"b\\c"), "; filename=\"a\\\"b\\\\c\"");
  EXPECT_EQ(written("filename", ""), "; filename=\"\"");
  EXPECT_EQ(written("filename", "имя.txt"), "; filename*=utf-8''%D0%B8%D0%BC%D1%8F.txt");
  // What a reader could take for RFC 2231 form is written in it.
  EXPECT_EQ(written("filename", "utf-8''a%20b"), "; filename*=utf-8''utf-8%27%27a%2520b");
  EXPECT_EQ(parseParameterized("a/b" + written("name", "utf-8''a%20b", true)).get("name"),
            "utf-8''a%20b");
  EXPECT_EQ(written("name", "имя.txt", true), "; name=\"=?utf-8?B?0LjQvNGPLnR4dA==?=\"");
}

TEST(Parameters, AnEncodedWordStartsBehindItsQuoteWhereverTheLineStands) {
  const std::string value = "очень длинное имя файла, которое не помещается в строку.txt";
  for (std::size_t length = 0; length < 120; ++length) {
    std::string line(length, 'x');
    std::size_t column = length;
    appendParameterAsEncodedWord("name", value, column, line);
    EXPECT_NE(line.find("name=\"=?utf-8?B?"), std::string::npos) << line;
    EXPECT_EQ(parseParameterized("a/b" + line.substr(length)).get("name"), value) << line;
    EXPECT_EQ(column, line.size() - line.rfind('\n') - 1);
    for (std::size_t start = length; (start = line.find("\r\n", start)) != std::string::npos;) {
      start += 2;
      EXPECT_LE(std::min(line.find("\r\n", start), line.size()) - start, 78U) << line;
    }
  }
}

TEST(Parameters, AreReadBackAsTheyWereWritten) {
  std::mt19937 random(11);
  const std::string_view pieces[] = {"a", ".", "x1",  " ", "é", "П", "\"", "\\", ";",
                                     "=", "'", "%41", "*", "😀", "(", "<",  "=?"};
  for (int round = 0; round < 4000; ++round) {
    std::string value;
    const std::size_t count = random() % 90;
    const std::size_t kinds = 1 + random() % std::size(pieces);
    for (std::size_t i = 0; i < count; ++i) {
      value += pieces[random() % kinds];
    }
    // White space at the ends and what looks encoded is not kept by readers that decode too much.
    const bool ambiguous = value.find("=?") != std::string::npos;
    const std::string line = "Content-Disposition: attachment" + written("filename", value);
    for (std::size_t start = 0; start < line.size();) {
      const std::size_t end = std::min(line.find("\r\n", start), line.size());
      ASSERT_LE(end - start, 78U) << line;
      start = end + 2;
    }
    if (!ambiguous) {
      ASSERT_EQ(parseParameterized(line.substr(20)).get("filename"), value) << line;
    }
    const std::string old = "attachment" + written("name", value, true);
    if (!ambiguous) {
      ASSERT_EQ(parseParameterized(old).get("name"), value) << old;
    }
  }
}

TEST(Parameters, NoValueBreaksOutOfItsPlace) {
  for (const bool encodedWord : {false, true}) {
    const std::string out =
        written("filename", std::string("a\r\nBcc: x\r\n\r\nbody\0\"; y=\"z", 24), encodedWord);
    EXPECT_EQ(out.find("\r\nBcc"), std::string::npos) << out;
    EXPECT_EQ(parseParameterized("attachment" + out).parameters.size(), 1U) << out;
  }
}

TEST(Parameters, HostileShapesTakeLinearTime) {
  for (const std::string_view piece :
       {";a=b", ";x*0=a", "\"", ";a=\"", "(", ";a*1*=''", "=", ";a= b ", ";name=a b c ", "\\",
        ";name=\"a\\\";", "/", " /", ";"}) {
    std::string raw = "a/b;name=";
    while (raw.size() < 1 << 18) {
      raw += piece;
    }
    parseParameterized(raw);
  }
  std::string many = "a/b";
  for (int i = 0; i < 20000; ++i) {
    many += "; x*" + std::to_string(i) + "=a";
  }
  EXPECT_GE(parseParameterized(many).get("x").size(), 1000U);
}

}  // namespace
}  // namespace brennox::rfc822
