#include "html/stand_ins.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "html/parse_tree.h"
#include "html/vectors_for_test.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

std::string shortened(StandIns& standIns, std::string_view text) {
  std::string out;
  standIns.appendText(text, out);
  return out;
}

std::string restored(const StandIns& standIns, std::string_view text) {
  std::string out(standIns.restoredLength(text), '\0');
  standIns.restore(text, out.data());
  return out;
}

TEST(StandIns, ShortenARunOfTextToACharacter) {
  StandIns standIns;
  EXPECT_EQ(shortened(standIns, "A run of text,\nto its end. "), "\xF3\xB0\x80\x80");
  EXPECT_EQ(shortened(standIns, "Текст"), "\xF3\xB0\x80\x81");
  EXPECT_EQ(restored(standIns, "-\xF3\xB0\x80\x80-\xF3\xB0\x80\x81-"),
            "-A run of text,\nto its end. -Текст-");
}

TEST(StandIns, LeaveWhatMeansSomethingToATreeBuilder) {
  StandIns standIns;
  for (const char* const text :
       {"", "a", " \n\t", "&amp;", "&ampersand", "&#65;", "\r\n", "\x01\x02", "\xC2\x85", "\xFF",
        "\xEF\xBB\xBF", "\xEF\xBF\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(shortened(standIns, text), text);
  }
  EXPECT_EQ(shortened(standIns, "\n  words&copy 2025"),
            "\n  \xF3\xB0\x80\x80&copy \xF3\xB0\x80\x81");
}

TEST(StandIns, RestoreEveryText) {
  for (const char* const text :
       {"", "a<b && c > d", "words &amp; more words\r\nnext line", "\xC2\xA0nothing\xC2\x85 odd",
        "half \xE2\x82", "smile \xF0\x9F\x98\x80 there", "\xEF\xB7\x90 none"}) {
    StandIns standIns;
    EXPECT_EQ(restored(standIns, shortened(standIns, text)), text);
    std::string raw;
    standIns.appendRawText(text, raw);
    EXPECT_EQ(restored(standIns, raw), text);
  }
}

TEST(StandIns, DoNotServeTextsThatHoldThem) {
  EXPECT_TRUE(StandIns::mayServe("text &#128512; &#x1F600; &#; &#x; &#99999999999999999999;"));
  EXPECT_FALSE(StandIns::mayServe("\xF3\xB0\x80\x80"));
  EXPECT_FALSE(StandIns::mayServe("&#xF0000;"));
  EXPECT_FALSE(StandIns::mayServe("&#X000fFFFd"));
  EXPECT_FALSE(StandIns::mayServe("&#983040;"));
}

TEST(StandIns, EndWhenThereAreTooMany) {
  StandIns standIns;
  std::string text;
  for (int i = 0; i < 70'000; ++i) {
    text += "run&amp;";
  }
  EXPECT_EQ(restored(standIns, shortened(standIns, text)), text);
}

TEST(StandIns, AreTheSameForEqualValues) {
  StandIns standIns;
  std::string out;
  standIns.appendValue("color: red", out);
  standIns.appendValue("color: blue", out);
  standIns.appendValue("color: red", out);
  EXPECT_EQ(out, "\xF3\xB0\x80\x80\xF3\xB0\x80\x81\xF3\xB0\x80\x80");
  EXPECT_EQ(restored(standIns, out), "color: redcolor: bluecolor: red");
  for (const char* const value : {"a&amp;b", "two\r\nlines", "\xFF"}) {
    out.clear();
    standIns.appendValue(value, out);
    EXPECT_EQ(out, value);
  }
}

// The text nodes and elements of a tree with their attributes, in order.
class Texts {
 public:
  bool enter(const GumboNode* node) {
    if (isText(node)) {
      texts.push_back(node->v.text.text);
    }
    if (!isElement(node)) {
      return false;
    }
    texts.emplace_back(gumbo_normalized_tagname(node->v.element.tag));
    const GumboVector& attributes = node->v.element.attributes;
    for (unsigned int i = 0; i < attributes.length; ++i) {
      const auto* const attribute = static_cast<const GumboAttribute*>(attributes.data[i]);
      texts.back() += std::string(" ") + attribute->name + "=" + attribute->value;
    }
    return true;
  }
  void leave(const GumboNode* /*node*/) { texts.emplace_back("/"); }

  std::vector<std::string> texts;
};

// One character of plane 15 keeps stand-ins away.
std::vector<std::string> textsOf(const std::string& html, bool withStandIns) {
  const std::string_view end = "\xF3\xB0\x80\x80";
  const ParseTree tree(html + (withStandIns ? "<p>x" : "<p>" + std::string(end)));
  Texts texts;
  walk(tree.root(), texts);
  for (std::string& text : texts.texts) {
    for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end)) {
      text.replace(at, end.size(), "x");
    }
  }
  return texts.texts;
}

TEST(StandIns, ChangeNothingInTheTree) {
  std::vector<std::string> all = {
      "<p>one two<b>three four</b> five six</p>",
      "<table>stray words<tr><td>cell text</table>",
      "<table> \n <tr>more <td>x</table>",
      "<pre>\n\nlines of\ntext</pre>",
      "<title>raw &amp; words</title>body words",
      "<style>p > a{color:red}<!-- --></style>x",
      "<!-- some comment --->text<!--> more<!-- a --!> words",
      "a < b and <3 words </ >x",
      "words</nothing>more words",
      "<textarea>\nwritten words</textarea>",
      "<b><p>wrapped words</b> and more</p>",
      "<ul><li>one item<li>two items</ul>",
      "text &amp; text &copy2025 &notin; &unknown; &#65words",
      "\r\nwin\r\ndows text\r",
      "<style>unclosed text",
      "<plaintext>rest <b>of it",
      "<a href='a b'>link text",
      "<select><option>an option",
      "<p title=unclosed words",
      "<p style='color: red' STYLE='color: blue' Class=\"two classes\">words",
      "<b class=long-value><b class='long-value'><b class=\"long-value\"><b class=long-value><p>x",
      "<a href='https://ok.test/?a=1&amp;b=2'>one<a href=https://ok.test/a/b>two</a>",
      "<img alt='unclosed value><p>words",
      "<img src=\"long value\"title='other value'>",
      "</p class='long value'>words",
      "<svg class='long value'>words</svg>words",
  };
  // More attributes than are kept, and more open elements.
  std::string many = "<p";
  for (int i = 0; i < 100; ++i) {
    many += " a" + std::to_string(i) + "=x title='a long value'";
  }
  all.push_back(many + ">words");
  std::string deep;
  for (int i = 0; i < 500; ++i) {
    deep += "<div title='a long value'>words";
  }
  all.push_back(deep);
  for (const char* const file : {"benign.jsonl", "html.jsonl", "own.jsonl"}) {
    for (const Vector& vector : vectorsForTest(file)) {
      all.push_back(vector.html);
    }
  }
  EXPECT_GT(all.size(), 100U);
  for (const std::string& html : all) {
    EXPECT_EQ(textsOf(html, true), textsOf(html, false)) << html;
  }
}

// What is taken out before joins what stands around it: a "<" in front of it and a letter behind it
// become a tag unless a stand-in keeps them apart.
bool isReduced(const std::string& html) {
  const std::string lowered = text::lowered(html);
  for (const char* const name : {"svg", "math", "select", "script", "template", "frame"}) {
    if (lowered.find('<' + std::string(name)) != std::string::npos) {
      return true;
    }
  }
  return false;
}

TEST(StandIns, ChangeNothingInTreesOfRandomTexts) {
  std::vector<std::string> sources;
  for (const char* const file : {"benign.jsonl", "html.jsonl", "own.jsonl"}) {
    for (const Vector& vector : vectorsForTest(file)) {
      sources.push_back(vector.html);
    }
  }
  const std::vector<std::string> tokens = {
      "<table>",    "</table>",    "<tr>",       "<td>",
      "<b>",        "</b>",        "</p>",       "<p class='long value'>",
      "some words", " ",           "\n",         "\r\n",
      "<!--",       "-->",         "--!>",       "<style>",
      "</style>",   "<title>",     "</title>",   "<pre>\n",
      "&amp;",      "&#65",        "<li>",       "<a href=\"https://ok.test/a/b\">",
      "<textarea>", "</textarea>", "<",          ">",
      "\"",         "'",           "=",          "<font style='color: blue'>",
      "\xC2\xA0",   "\xE2",        "<caption>",  "<col>",
      "<form>",     "<h1>",        "<noscript>", "<body style='long value'>",
      "<xmp>",      "<plaintext>", "<object>",   "<html class='long value'>",
      "<button>",   "<nobr>",      "\x0C",       "/"};
  std::mt19937 random(7);
  const auto below = [&](std::size_t bound) { return bound == 0 ? 0 : random() % bound; };
  std::size_t count = 0;
  for (int i = 0; i < 6000; ++i) {
    std::string html;
    for (std::size_t pieces = 1 + below(8); pieces > 0; --pieces) {
      if (below(3) == 0) {
        const std::string& source = sources[below(sources.size())];
        html += source.substr(below(source.size()), 1 + below(200));
      } else {
        html += tokens[below(tokens.size())];
      }
    }
    if (!isReduced(html)) {
      ++count;
      ASSERT_EQ(textsOf(html, true), textsOf(html, false)) << html;
    }
  }
  EXPECT_GT(count, 5000U);
}

}  // namespace
}  // namespace brennox::html
