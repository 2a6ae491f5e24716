#include "html/text_to_html.h"

#include <gtest/gtest.h>

#include "core/TextBuffer.h"
#include "core/processor_time_for_test.h"
#include "html/reparse_for_test.h"
#include "html/sanitizer.h"

namespace brennox::html {
namespace {

std::string textToHtml(std::string_view text) {
  TextBuffer html;
  appendAsHtml(text, html);
  return std::string(html.view());
}

// What is inside of the elements around the part; quotes shortened.
std::string inner(std::string_view text) {
  const std::string all = textToHtml(text);
  EXPECT_EQ(reparsed(all), all) << text;
  const std::size_t from = all.find('>', all.find("bx-text")) + 1;
  std::string result = all.substr(from, all.size() - from - 12);
  for (std::size_t at = result.find("<blockquote "); at != std::string::npos;
       at = result.find("<blockquote ")) {
    result.replace(at, result.find('>', at) + 1 - at, "<Q>");
  }
  for (std::size_t at = result.find("</blockquote>"); at != std::string::npos;
       at = result.find("</blockquote>")) {
    result.replace(at, 13, "</Q>");
  }
  constexpr std::string_view kLink = " rel=\"noopener noreferrer\" target=\"_blank\"";
  for (std::size_t at = result.find(kLink); at != std::string::npos; at = result.find(kLink)) {
    result.erase(at, kLink.size());
  }
  return result;
}

struct Case {
  const char* text;
  const char* wanted;
};

TEST(TextToHtml, KeepsLinesSpacesAndQuotes) {
  const Case cases[] = {
      {"", ""},
      {"a\nb", "a<br>b"},
      {"a\r\n\r\n  b\n", "a<br><br>  b"},
      {"<b>&\"'", "&lt;b&gt;&amp;\"'"},
      {"> a\n> b", "<Q>a<br>b</Q>"},
      {"x\n> a\n>> b\n> > c\ny", "x<Q>a<Q>b<br>c</Q></Q>y"},
      {"x\n\n> a\n\ny", "x<br><br><Q>a</Q><br>y"},
      {">\n> a", "<Q><br>a</Q>"},
      {"a\x1B[0m\x07", "a[0m"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(inner(c.text), c.wanted) << c.text;
  }
}

TEST(TextToHtml, AddressesBecomeLinks) {
  const Case cases[] = {
      {"see https://ok.test/a?b=1&c.",
       "see <a href=\"https://ok.test/a?b=1&amp;c\">"
       "https://ok.test/a?b=1&amp;c</a>."},
      {"<https://ok.test/>", "&lt;<a href=\"https://ok.test/\">https://ok.test/</a>&gt;"},
      {"(https://ok.test/a_(b))", "(<a href=\"https://ok.test/a_(b)\">https://ok.test/a_(b)</a>)"},
      {"www.ok.test!", "<a href=\"http://www.ok.test\">www.ok.test</a>!"},
      {"a@ok.test, b", "<a href=\"mailto:a@ok.test\">a@ok.test</a>, b"},
      {"mailto:a@ok.test", "<a href=\"mailto:a@ok.test\">mailto:a@ok.test</a>"},
      {"https://", "https://"},
      {"javascript:alert(1)", "javascript:alert(1)"},
      {"a@b c@", "a@b c@"},
      {"www. wwww.a.b", "www. wwww.a.b"},
      {"https://ok.test/\"onclick=x",
       "<a href=\"https://ok.test/\">https://ok.test/</a>\"onclick=x"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(inner(c.text), c.wanted) << c.text;
  }
}

TEST(TextToHtml, QuotesBeyondTheBoundKeepTheirMarks) {
  const std::string deep(kMaxQuoteDepth + 3, '>');
  const std::string result = inner(deep + " x");
  EXPECT_NE(result.find("&gt;&gt;&gt; x"), std::string::npos);
}

// Long texts are taken in pieces; where one ends must not show.
TEST(TextToHtml, LengthChangesNothing) {
  const auto between = [](const std::string& html) {
    const std::size_t from = html.find('>', html.find("bx-text")) + 1;
    return html.substr(from, html.size() - from - 12);
  };
  for (const std::string_view lines :
       {"a <b>\r\n> www.ok.test\r\n\r\nc & d@ok.test\r\n", "\x7F\n\n> \xC2\x85q\r\rx\r\r\n"}) {
    const std::string once = between(textToHtml(lines));
    std::string text;
    std::string wanted;
    while (text.size() < 200'000) {
      text += lines;
      wanted += (wanted.empty() ? "" : "<br>") + once;
    }
    EXPECT_TRUE(between(textToHtml(text)) == wanted);
  }
}

// A tree builder replaces them; what is read has to be what was written.
TEST(TextToHtml, NoncharactersAreReplaced) {
  for (const char* const none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xEF\xB7\x90", "\xEF\xB7\xAF",
                                 "\xF0\x9F\xBF\xBE", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(inner(std::string("a") + none + "b"),
              "a\xEF\xBF\xBD"
              "b")
        << none;
    EXPECT_EQ(inner(std::string(none) + none), "\xEF\xBF\xBD\xEF\xBF\xBD") << none;
  }
  for (const char* const letter : {"\xEF\xB7\x8F", "\xEF\xB7\xB0", "\xEF\xBF\xBD", "\xE1\xBF\xBE",
                                   "\xF0\x9F\x98\x80", "\xEF\xBC\x8C", "\xF0\x9E\xBF\xBF"}) {
    EXPECT_EQ(inner(letter), letter);
  }
}

TEST(TextToHtml, NothingIsLeftOfABlankEnd) {
  for (const char* const end : {"\n", " \n \r\n", "\x01\n", "\xC2\x85", "\n\xC2\x9F\x7F\r", " "}) {
    EXPECT_EQ(inner(std::string("a\t") + end), "a\t") << end;
    EXPECT_EQ(inner(end), "");
  }
  EXPECT_EQ(inner("a\xC2\xA0"), "a\xC2\xA0");
}

TEST(TextToHtml, TimeIsLinear) {
  for (const char* const shape : {"https://", "a@", "a", "www.", ">", "> \n>> \n", "http:", "@",
                                  "(", "https://a ", "a.b@c.d", "W", "::"}) {
    const auto repeated = [&](std::size_t size) {
      std::string text;
      while (text.size() < size) {
        text += shape;
      }
      return text;
    };
    const std::string small = repeated(50'000);
    const std::string large = repeated(200'000);
    EXPECT_TRUE(isLinear([&] { textToHtml(small); }, [&] { textToHtml(large); })) << shape;
  }
}

}  // namespace
}  // namespace brennox::html
