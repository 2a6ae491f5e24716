#include "html/plain_text.h"

#include <gtest/gtest.h>

#include "html/vectors_for_test.h"

namespace brennox::html {
namespace {

struct Case {
  const char* html;
  const char* wanted;
};

void expectAll(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(htmlToText(c.html), c.wanted) << c.html;
  }
}

TEST(HtmlToText, ReadsLikeTheWantedPairs) {
  for (const char* const name : {"01-paragraphs-links", "02-lists", "03-table", "04-quotes",
                                 "05-entities-pre", "09-newsletter"}) {
    const std::string mail = fileForTest("plain/" + std::string(name) + ".eml");
    const std::size_t body = mail.find("\r\n\r\n") + 4;
    EXPECT_EQ(htmlToText(mail.substr(body)),
              fileForTest("plain/" + std::string(name) + ".body.txt"))
        << name;
  }
}

TEST(HtmlToText, WhiteSpaceCollapses) {
  expectAll({{"", ""},
             {" \n ", ""},
             {"a \n  b", "a b"},
             {"<b>a </b> b", "a b"},
             {"a<p> b </p> c", "a\n\nb\n\nc"},
             {"a&nbsp; b", "a  b"},
             {"<p>&nbsp;</p>a<p>&nbsp;</p>", "a"},
             {"&nbsp;&nbsp;a", "  a"},
             {"a<br>b<br><br><br><br>c", "a\nb\n\nc"},
             {"<div>a</div><div><br></div><div>b</div>", "a\n\nb"},
             {"<div>a<br></div><div>b</div>", "a\nb"},
             {"a\xE2\x80\x8B"
              "b\xC2\xAD"
              "c\xEF\xBB\xBF",
              "abc"}});
}

TEST(HtmlToText, JoinersStayWhereTheyShapeText) {
  expectAll({{"\xD9\x85\xE2\x80\x8C\xD9\x86", "\xD9\x85\xE2\x80\x8C\xD9\x86"},
             {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7",
              "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7"},
             {"a\xE2\x80\x8C"
              "b",
              "ab"}});
}

TEST(HtmlToText, LinksShowTheirAddressOnce) {
  expectAll({{"<a href='https://ok.test/x'>go</a>.", "go <https://ok.test/x>."},
             {"<a href='https://ok.test/'>ok.test</a>", "ok.test"},
             {"<a href='https://ok.test/'> https://ok.test </a>", "https://ok.test"},
             {"<a href='mailto:a@ok.test'>write</a>", "write <a@ok.test>"},
             {"<a href='tel:+12'>+12</a>", "+12"},
             {"<a href='#x'>y</a>", "y"},
             {"<a href='javascript:x'>y</a>", "y"},
             {"<a href='https://ok.test/'><img src=x></a>z", "z"},
             {"<a href='https://ok.test/'><img src=x alt=Pic></a>", "Pic <https://ok.test/>"},
             {"<a href='https://ok.test/'><div>go</div></a>on", "go <https://ok.test/>\non"},
             {"<a href='https://ok.test/'>go </a>on", "go <https://ok.test/> on"}});
}

TEST(HtmlToText, ListsNest) {
  expectAll({{"<ul><li>a<li>b</ul>", "* a\n* b"},
             {"<ol><li>a<ul><li>b</ul><li>c</ol>d", "1. a\n   * b\n2. c\n\nd"},
             {"<ol start=9><li>a<li>b<br>c</ol>", "9. a\n10. b\n    c"},
             {"<ol><li value=5>a<li>b</ol>", "5. a\n6. b"},
             {"<ol type=a start=26><li>x<li>y</ol>", "z. x\n27. y"},
             {"<ol type=A><li>x<li>y</ol>", "A. x\nB. y"},
             {"<ul><li><p>a</p><p>b</p></ul>", "* a\n\n  b"}});
}

TEST(HtmlToText, QuotesAreMarked) {
  expectAll({{"<blockquote>a</blockquote>b", "> a\n\nb"},
             {"<blockquote>a<p></p><ul><li>b</ul></blockquote>", "> a\n>\n> * b"},
             {"<ul><li>a<blockquote>q</blockquote></ul>", "* a\n\n  > q"}});
}

TEST(HtmlToText, TablesWithColumnsAreLines) {
  expectAll({{"<table><tr><td>a<td>b<tr><td>c<td>d</table>", "a\tb\nc\td"},
             {"<table><tr><td><td>b<td>c</table>", "\tb\tc"},
             {"<table><tr><td>&nbsp;<td>b<td>&nbsp;</table>", "b"},
             {"<table><tr><td>a<td><p>b</table>", "a\n\nb"}});
}

TEST(HtmlToText, LeavesOutWhatIsNotShown) {
  expectAll({{"a<span style='display:none'>b</span>", "a"},
             {"a<span style='DISPLAY : NONE !important'>b</span>", "a"},
             {"a<span hidden>b</span>", "a"},
             {"a<div style='max-height:0px;overflow:hidden'>b</div>", "a"},
             {"<style>.h,td.g{display:none}#i{visibility:hidden}</style>"
              "a<b class='x h'>b</b><b class=g>c</b><b id=i>d</b><b class=j>e</b>",
              "ae"},
             {"<style>@media print{.h{display:none}}</style><b class=h>b</b>", "b"},
             {"a<script>b</script><style>c</style><title>d</title><!--e-->f", "af"},
             {"a<svg><text>b</text></svg><select><option>c</select><textarea>d</textarea>", "a"}});
}

TEST(HtmlToText, HoldsNoControlCharacters) {
  EXPECT_EQ(htmlToText("a\x1B[31mb&#27;c&#155;d\x07"),
            "a[31mbc\xE2\x80\xBA"
            "d");
}

TEST(HtmlToText, PreformattedTextStays) {
  expectAll({{"a<pre>  b\n\n\n\tc </pre>d", "a\n\n  b\n\n\n\tc\n\nd"},
             {"<blockquote><pre>a\n b</pre></blockquote>", "> a\n>  b"}});
}

}  // namespace
}  // namespace brennox::html
