#include "html/sanitizer.h"

#include <gtest/gtest.h>

#include "core/processor_time_for_test.h"
#include "html/reparse_for_test.h"
#include "html/vectors_for_test.h"

namespace brennox::html {
namespace {

std::string cleaned(std::string_view html) {
  SanitizerOptions options;
  options.scope = "S";
  return sanitizedHtml(html, options);
}

// What is inside of the elements around the part.
std::string inner(std::string_view html) {
  const std::string all = cleaned(html);
  const std::size_t begin = all.find("<div class=\"S");
  const std::size_t from = all.find('>', begin) + 1;
  return all.substr(from, all.size() - from - 12);
}

struct Case {
  const char* html;
  const char* wanted;
};

TEST(Sanitizer, KeepsWhatReadersNeed) {
  const Case cases[] = {
      {"plain", "plain"},
      {"<p>a<b>b</b></p>", "<p>a<b>b</b></p>"},
      {"a &lt; b &amp; \"c\"", "a &lt; b &amp; \"c\""},
      {"<ul><li>1<li>2</ul>", "<ul><li>1</li><li>2</li></ul>"},
      {"<table><tr><td>x</table>", "<table><tbody><tr><td>x</td></tr></tbody></table>"},
      {"<p><table><tr><td>x</table>", "<p></p><table><tbody><tr><td>x</td></tr></tbody></table>"},
      {"<h1 align=center>T</h1>", "<h1 align=\"center\">T</h1>"},
      {"<font color=red size=+1 face=\"Arial\">x</font>",
       "<font color=\"red\" size=\"+1\" face=\"Arial\">x</font>"},
      {"<p class='a  b' id=c>x</p>", "<p class=\"m-a m-b\" id=\"m-c\">x</p>"},
      {"<pre>\n\nx</pre>", "<pre>\n\nx</pre>"},
      {"<blockquote type=cite>q</blockquote>", "<blockquote type=\"cite\">q</blockquote>"},
      {"<div dir=rtl lang=he>x</div>", "<div dir=\"rtl\" lang=\"he\">x</div>"},
      {"<p style=\"color:red\">x</p>", "<p style=\"color:red\">x</p>"},
      {"<o:p>x</o:p>", "x"},
      {"<center><details open><summary>s</summary>d</details></center>",
       "<center><div><div>s</div>d</div></center>"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(inner(c.html), c.wanted) << c.html;
  }
}

TEST(Sanitizer, DropsWhatRunsOrFetches) {
  const Case cases[] = {
      {"a<script>alert(1)</script>b", "ab"},
      {"<img src=x onerror=alert(1)>", "<img>"},
      {"<svg onload=alert(1)><text>x</text></svg>y", "y"},
      {"<math><mtext>x</mtext></math>y", "y"},
      {"<iframe src=http://leak.test>x</iframe>y", "y"},
      {"<object data=http://leak.test>x</object>", "x"},
      {"<form action=http://leak.test><input name=a><button formaction=x>b</button></form>",
       "<div>b</div>"},
      {"<meta http-equiv=refresh content='0;http://leak.test'>x", "x"},
      {"<link rel=stylesheet href=http://leak.test>x", "x"},
      {"<base href=http://leak.test>x", "x"},
      {"<noscript><p title=\"</noscript><img src=x onerror=alert(1)>\"></noscript>", "\"&gt;"},
      {"<template><b>x</b></template>y", "y"},
      {"<select><option>o</select>y", "y"},
      {"<textarea><img src=x></textarea>y", "y"},
      {"<video src=http://leak.test poster=http://leak.test>x</video>", "x"},
      {"<p style=\"background:url(http://leak.test)\">x</p>", "<p>x</p>"},
      {"<table background=http://leak.test><tr><td background=x>y</table>",
       "<table><tbody><tr><td>y</td></tr></tbody></table>"},
      {"<img srcset='http://leak.test 2x' alt=a>", "<img alt=\"a\">"},
      {"<p style=\"position:fixed;top:0;z-index:9\">x</p>", "<p>x</p>"},
      {"</div></div></div>x", "x"},
      {"<!-- c --><![CDATA[x]]><?php y ?>z", "z"},
  };
  for (const Case& c : cases) {
    if (std::string_view(c.html).find("noscript") != std::string_view::npos) {
      EXPECT_EQ(inner(c.html).find("<img"), std::string::npos) << c.html;
      continue;
    }
    EXPECT_EQ(inner(c.html), c.wanted) << c.html;
  }
}

TEST(Sanitizer, LinksLeadOnlyWhereTheyMay) {
  constexpr const char* kRest = " rel=\"noopener noreferrer\" target=\"_blank\">x</a>";
  const Case allowed[] = {
      {"https://ok.test/?a=1&amp;b", "https://ok.test/?a=1&amp;b"},
      {" \nhttps://ok.test/a b ", "https://ok.test/a%20b"},
      {"HTTP://ok.test", "HTTP://ok.test"},
      {"mailto:a@ok.test", "mailto:a@ok.test"},
      {"tel:+1", "tel:+1"},
      {"//ok.test/x", "https://ok.test/x"},
  };
  for (const Case& c : allowed) {
    EXPECT_EQ(inner("<a href=\"" + std::string(c.html) + "\">x</a>"),
              "<a href=\"" + std::string(c.wanted) + "\"" + kRest);
  }
  for (const char* const href :
       {"javascript:alert(1)", "java\nscript:alert(1)", "\1javascript:alert(1)", "JaVaScRiPt:x",
        "data:text/html,x", "vbscript:x", "file:///etc/passwd", "/relative", "relative", "?q",
        "blob:x", "cid:x", "view-source:x", "&#106;avascript:x", "javascript&colon;x", "#", ""}) {
    EXPECT_EQ(inner("<a href=\"" + std::string(href) + "\">x</a>"), "<a>x</a>") << href;
  }
  EXPECT_EQ(inner("<a href=#there>x</a><a name=there>y</a>"),
            "<a href=\"#m-there\">x</a><a name=\"m-there\">y</a>");
}

TEST(Sanitizer, PicturesNeverFetch) {
  constexpr const char* kPixel =
      "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJg"
      "gg==";
  const std::string uri = "data:image/png;base64," + std::string(kPixel);
  EXPECT_EQ(inner("<img src=\"" + uri + "\">"), "<img src=\"" + uri + "\">");
  EXPECT_EQ(inner("<img src=\"DATA:image/svg+xml;base64," + std::string(kPixel) + "\">"),
            "<img src=\"" + uri + "\">");
  EXPECT_EQ(inner("<img src=\"data:image/svg+xml;base64,PHN2Zz48L3N2Zz4=\">"), "<img>");
  EXPECT_EQ(inner("<img src=\"data:image/svg+xml,<svg/>\">"), "<img>");
  EXPECT_EQ(inner("<img src=http://t.test/a.png alt=A>"),
            "<img data-remote-src=\"http://t.test/a.png\" alt=\"A\">");
  EXPECT_EQ(inner("<img src=cid:none alt=A>"), "<img alt=\"A\">");
  EXPECT_EQ(inner("<img src=file:///x>"), "<img>");
}

TEST(Sanitizer, ThePartsOwnStyleSheetIsConfined) {
  EXPECT_EQ(
      cleaned("<style>p{color:red} body{color:blue} @import 'x'; .a{position:fixed}</style><p>"),
      std::string(kPartOpening) +
          "<style>\n.S p{color:red}\n.S{color:blue}\n</style><div class=\"S\"><p></p></div></div>");
}

TEST(Sanitizer, TheBodyBecomesTheContainer) {
  EXPECT_EQ(cleaned("<html lang=de><body bgcolor=\"#ff0000\" text=blue class=b style='margin:0'>x"),
            std::string(kPartOpening) +
                "<div class=\"S m-b\" lang=\"de\" style=\"background-color:#ff0000;color:blue;"
                "margin:0\">x</div></div>");
}

TEST(Sanitizer, LeavesOutTagsThatAnotherParseWouldMove) {
  const Case cases[] = {
      {"<p><object><div>x</div></object></p>", "<p>x</p>"},
      {"<p><button><p>x</p></button></p>", "<p>x</p>"},
      {"<h1><x-y><h2>x</h2></x-y></h1>", "<h1>x</h1>"},
      {"<li><button><li>x</li></button></li>", "<li>x</li>"},
      {"<a href=#a><object><a href=#b>x</a></object></a>", "<a href=\"#m-a\">x</a>"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(inner(c.html), c.wanted) << c.html;
  }
}

TEST(Sanitizer, ParsingTheResultGivesTheSameTree) {
  std::size_t count = 0;
  for (const char* const file : {"html.jsonl", "own.jsonl", "benign.jsonl"}) {
    for (const Vector& vector : vectorsForTest(file)) {
      const std::string result = cleaned(vector.html);
      EXPECT_EQ(reparsed(result), result) << vector.id << ": " << vector.html;
      ++count;
    }
  }
  EXPECT_GT(count, 1300U);
}

TEST(Sanitizer, DeepContentStaysAsText) {
  std::string html;
  for (std::size_t i = 0; i < 100'000; ++i) {
    html += "<div>";
  }
  html += "deep";
  const std::string result = cleaned(html);
  EXPECT_NE(result.find("deep"), std::string::npos);
  std::size_t opened = 0;
  for (std::size_t at = result.find("<div"); at != std::string::npos;
       at = result.find("<div", at + 1)) {
    ++opened;
  }
  EXPECT_EQ(opened, kMaxDepth);
  EXPECT_EQ(reparsed(result), result);
}

TEST(Sanitizer, NestingAtTheBoundIsKeptWhole) {
  const auto nested = [](std::size_t levels) {
    std::string html;
    for (std::size_t i = 0; i < levels; ++i) {
      html += "<i>";
    }
    return html + "x";
  };
  const auto levels = [](const std::string& html) {
    std::size_t count = 0;
    for (std::size_t at = html.find("<div"); at != std::string::npos;
         at = html.find("<div", at + 1)) {
      ++count;
    }
    return count;
  };
  std::string html;
  for (std::size_t i = 0; i < kMaxDepth - 2; ++i) {
    html += "<div>";
  }
  EXPECT_EQ(levels(cleaned(html + "x")), kMaxDepth);
  EXPECT_EQ(levels(cleaned(html + "<div>x")), kMaxDepth);
  EXPECT_NE(cleaned(nested(1000)).find('x'), std::string::npos);
}

TEST(Sanitizer, TimeAndLengthAreLinear) {
  const char* const shapes[] = {
      "<div>",
      "<div><p>",
      "<b>",
      "<p><font color=red>x",
      "<p><b id=%>x",
      "<a href=x>",
      "<table>",
      "<table><tr><td>",
      "<table>x",
      "<li>",
      "<ul><li>",
      "</p>",
      "<!--",
      "<style>",
      "<svg><p>",
      "<b><p></b>",
      "<a><b><i></a>",
      "<template>",
      "<select><option>",
      "<x y=",
      "&amp;",
      "&#x41;",
      "<p style=\"color:red\">",
      "<p class='a b c d'>",
      "<body a%=1>",
      "<style>a{color:red}</style>",
      "<math><mi>",
      "<button><p>",
      "<h1><h2>",
      "<marquee><i>",
      "<object><b>x",
      "<![CDATA[",
      "<p title='",
      "]]>-->",
      "<nobr><nobr>",
      "<frameset><frame>",
      "<ruby><rt>",
      "<td><b>x</td>",
  };
  for (const char* const shape : shapes) {
    const auto repeated = [&](std::size_t size) {
      std::string html;
      for (std::size_t i = 0; html.size() < size; ++i) {
        std::string unit = shape;
        if (const std::size_t at = unit.find('%'); at != std::string::npos) {
          unit.replace(at, 1, std::to_string(i));
        }
        html += unit;
      }
      return html;
    };
    constexpr std::size_t kSmall = 30'000;
    const std::string small = repeated(kSmall);
    const std::string large = repeated(4 * kSmall);
    EXPECT_LE(cleaned(small).size(), kSmall * (kMaxOutputGrowth + 8) + 2 * kOutputFloor) << shape;
    EXPECT_TRUE(isLinear([&] { cleaned(small); }, [&] { cleaned(large); })) << shape;
  }
}

}  // namespace
}  // namespace brennox::html
