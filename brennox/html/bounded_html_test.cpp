#include "html/bounded_html.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "html/parse_tree.h"
#include "html/vectors_for_test.h"

namespace brennox::html {
namespace {

std::string bounded(std::string_view html) {
  std::string storage;
  return std::string(boundedHtml(html, storage));
}

std::string repeated(std::string_view unit, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += unit;
  }
  return text;
}

TEST(BoundedHtml, HandsRealMailOnUntouched) {
  for (const char* const html :
       {"", "plain", "<p>a<p>b", "<table><tr><td>a<td>b</table>", "a < b <3 </ >",
        "<!-- <div> --><p title='<div>'>x</p>", "<style>a>b{}</style><title><b></title>"}) {
    std::string storage;
    EXPECT_EQ(boundedHtml(html, storage).data(), html) << html;
  }
}

TEST(BoundedHtml, TakesOutElementsWithRulesOfTheirOwn) {
  EXPECT_EQ(bounded("a<script>if (a<b) </script >b"), "ab");
  EXPECT_EQ(bounded("a<script>b"), "a");
  EXPECT_EQ(bounded("a<svg><title><p></svg>b"), "ab");
  EXPECT_EQ(bounded("a<svg/>b<svg>c"), "abc");
  EXPECT_EQ(bounded("a<select><option>x</select>b"), "ab");
  EXPECT_EQ(bounded("<!--<script>-->a"), "<!--<script>-->a");
}

TEST(BoundedHtml, BoundsOpenElements) {
  const std::string html = repeated("<div>", kMaxOpenElements) + "x";
  EXPECT_EQ(bounded(html), html);
  EXPECT_EQ(bounded("<div>" + html), html);
  // The end tag of what was taken out goes too.
  EXPECT_EQ(bounded("<div>" + html + "</div>"), html);
}

TEST(BoundedHtml, BoundsOpenFormatting) {
  std::string html;
  for (std::size_t i = 0; i <= kMaxOpenFormatting; ++i) {
    html += "<p><b id=" + std::to_string(i) + ">";
  }
  const std::string result = bounded(html);
  EXPECT_EQ(static_cast<std::size_t>(std::count(result.begin(), result.end(), 'b')),
            kMaxOpenFormatting);
  // Alike ones do not add up.
  const std::string alike = repeated("<p><b>x", 1000);
  EXPECT_EQ(bounded(alike), alike);
}

TEST(BoundedHtml, BoundsAttributes) {
  const std::string most = "<p" + repeated(" a", kMaxAttributes);
  EXPECT_EQ(bounded(most + ">x"), most + ">x");
  EXPECT_EQ(bounded(most + " b='>' c>x"), most + ">x");
}

class Depth {
 public:
  bool enter(const GumboNode* node) {
    ++nodes;
    if (!isElement(node)) {
      return false;
    }
    deepest = std::max(deepest, ++depth_);
    return true;
  }
  void leave(const GumboNode* /*node*/) { --depth_; }

  std::size_t deepest = 0;
  std::size_t nodes = 0;

 private:
  std::size_t depth_ = 0;
};

Depth measured(const std::string& html) {
  const ParseTree tree(html);
  Depth depth;
  walk(tree.root(), depth);
  return depth;
}

// One tag can open a row, its group and itself.
constexpr std::size_t kMaxTreeDepth = 3 * (kMaxOpenElements + kMaxOpenFormatting) + 8;

// Short sequences of tags, repeated: what would pile up with one of them piles up here.
TEST(BoundedHtml, NoSequenceOfTagsMakesADeepTree) {
  const char* const kTags[] = {"<div>",
                               "</div>",
                               "<p>",
                               "</p>",
                               "<b>",
                               "</b>",
                               "<a>",
                               "</a>",
                               "<i x=1>",
                               "</i>",
                               "<table>",
                               "</table>",
                               "<tr>",
                               "</tr>",
                               "<td>",
                               "</td>",
                               "<tbody>",
                               "</tbody>",
                               "<caption>",
                               "</caption>",
                               "<col>",
                               "<li>",
                               "</li>",
                               "<ul>",
                               "</ul>",
                               "<dd>",
                               "<dt>",
                               "</dd>",
                               "<object>",
                               "</object>",
                               "<button>",
                               "</button>",
                               "<form>",
                               "</form>",
                               "<x>",
                               "</x>",
                               "<svg>",
                               "</svg>",
                               "<math>",
                               "<mi>",
                               "<title>",
                               "</title>",
                               "<style>",
                               "</style>",
                               "<select>",
                               "</select>",
                               "<option>",
                               "<textarea>",
                               "</textarea>",
                               "<script>",
                               "</script>",
                               "<template>",
                               "</template>",
                               "<h1>",
                               "</h1>",
                               "<h2>",
                               "<body>",
                               "</body>",
                               "</html>",
                               "<head>",
                               "</head>",
                               "<frameset>",
                               "<noscript>",
                               "</noscript>",
                               "<ruby>",
                               "<rt>",
                               "<!--",
                               "-->",
                               "<![CDATA[",
                               "]]>",
                               "text",
                               " ",
                               "<nobr>",
                               "</nobr>",
                               "<marquee>",
                               "</marquee>",
                               "<font a>",
                               "<desc>",
                               "<foreignObject>",
                               "<plaintext>",
                               "<iframe>",
                               "</iframe>",
                               "<br>",
                               "</br>",
                               "<image>",
                               "<input>",
                               "<hr>",
                               "<isindex>",
                               "<menuitem>",
                               "<address>",
                               "<center>",
                               "<applet>",
                               "<xmp>",
                               "</xmp>",
                               "<noframes>",
                               "</noframes>",
                               "<details>",
                               "<summary>"};
  std::mt19937 random(7);
  const auto pick = [&] {
    return std::string(
        kTags[std::uniform_int_distribution<std::size_t>(0, std::size(kTags) - 1)(random)]);
  };
  for (int round = 0; round < 250; ++round) {
    std::string prefix;
    for (int i = round % 4; i > 0; --i) {
      prefix += pick();
    }
    std::string unit;
    for (int i = 1 + round % 6; i > 0; --i) {
      unit += pick();
    }
    constexpr std::size_t kTimes = 1320;
    const Depth depth = measured(prefix + repeated(unit, kTimes));
    EXPECT_LE(depth.deepest, kMaxTreeDepth) << prefix << " then " << unit;
    if (depth.deepest > kMaxTreeDepth) {
      break;
    }
  }
}

}  // namespace
}  // namespace brennox::html
