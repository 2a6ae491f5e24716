#include "html/css.h"

#include <gtest/gtest.h>

#include "core/processor_time_for_test.h"
#include "html/css_tokens.h"

namespace brennox::html {
namespace {

struct Case {
  const char* css;
  const char* wanted;
};

TEST(Css, KeepsDeclarationsOfTheAllowList) {
  const Case cases[] = {
      {"", ""},
      {"color:red", "color:red"},
      {" Color : RED ; ", "color:RED"},
      {";;;color:red;;: ;x:;font-weight:bold", "color:red;font-weight:bold"},
      {"color:rgb(1,2,3);background:rgba(0,0,0,.5)",
       "color:rgb(1,2,3);background-color:rgba(0,0,0,.5)"},
      {"width:calc(100% - 10px)", "width:calc(100% - 10px)"},
      {"font-family:\"Calibri\",'Segoe UI',sans-serif",
       "font-family:'Calibri','Segoe UI',sans-serif"},
      {"font:bold 12px/1.5 Arial", "font:bold 12px/1.5 Arial"},
      {"color:red !important", "color:red!important"},
      {"color:red/**/", "color:red"},
      {"font-family:a/**/b", "font-family:a b"},
      {"border:1px/**/0", "border:1px 0"},
      {"c\\6f lor:red", "color:red"},
      {"color:#FfF", "color:#FfF"},
      {"border:1px solid #ccc", "border:1px solid #ccc"},
      {"background:#fff url(x) no-repeat", "background-color:#fff"},
      {"margin:0 auto", "margin:0 auto"},
      {"text-indent:-.25in;letter-spacing:-1px", "text-indent:-.25in;letter-spacing:-1px"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cleanedDeclarations(c.css), c.wanted) << c.css;
  }
}

TEST(Css, DropsWhatFetchesRunsOrLeaves) {
  for (const char* const css : {"background:url(http://x)",
                                "background-image:url(x)",
                                "color:url(x)",
                                "width:expression(alert(1))",
                                "w\\69 dth:e\\78pression(1)",
                                "behavior:url(x)",
                                "-moz-binding:url(x)",
                                "position:fixed",
                                "z-index:1",
                                "top:0",
                                "transform:scale(9)",
                                "margin:-1px",
                                "margin-left:calc(0px - 9px)",

                                "content:'x'",
                                "cursor:url(x)",
                                "list-style:url(x)",
                                "color:var(--x)",
                                "--x:red",
                                "color:attr(x)",
                                "color:image-set('x' 1x)",
                                "animation:x 1s",
                                "filter:blur(1px)",
                                "color:red}",
                                "color:{red}",
                                "color:\"red\"",
                                "color:red<",
                                "color:a\\3c b",
                                "color:rgb(1",
                                "color",
                                "src:url(x)",
                                "color:@import",
                                "font-family:'a\\'b'",
                                "font-family:'</style>'",
                                "width:1\\3c px"}) {
    EXPECT_EQ(cleanedDeclarations(css), "") << css;
  }
}

TEST(Css, RulesAreConfinedToTheScope) {
  const Case cases[] = {
      {"p{color:red}", ".S p{color:red}\n"},
      {"*{color:red}", ".S *{color:red}\n"},
      {".a.b #c{color:red}", ".S .m-a.m-b #m-c{color:red}\n"},
      {"P.a>b+i~u{color:red}", ".S p.m-a>b+i~u{color:red}\n"},
      {"a:hover,b:nth-child(2n + 1){color:red}", ".S a:hover,.S b:nth-child(2n + 1){color:red}\n"},
      {"body,html body,:root{color:red}", ".S,.S,.S{color:red}\n"},
      {"html > body > p{color:red}", ".S>p{color:red}\n"},
      {"body.x p{color:red}", ".S.m-x p{color:red}\n"},
      {"td[class=\"a\"],[id = b]{color:red}", ".S td.m-a,.S #m-b{color:red}\n"},
      {"<!-- .c{color:red} /* } */ .d{color:blue} -->",
       ".S .m-c{color:red}\n.S .m-d{color:blue}\n"},
      {"@media (max-width:600px){.m{color:red}}p{color:blue}",
       "@media (max-width:600px){\n.S .m-m{color:red}\n}\n.S p{color:blue}\n"},
      {".a\\:b{color:red}", ".S .m-a\\3a b{color:red}\n"},
      {"a[href],td[ align = \"left\" ]{color:red}", ".S a[href],.S td[align='left']{color:red}\n"},
      {"p{color:red", ".S p{color:red}\n"},
      {"p{}q{color:red}", ".S q{color:red}\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cleanedStyleSheet(c.css, "S"), c.wanted) << c.css;
  }
}

TEST(Css, DropsRulesThatReachOut) {
  for (const char* const css : {"body~p{color:red}",
                                "body+p{color:red}",
                                "p body{color:red}",
                                "~p{color:red}",
                                ">p{color:red}",
                                "p>{color:red}",
                                "a::before{color:red}",
                                ":has(p){color:red}",
                                ":not(p){color:red}",
                                "a|b{color:red}",
                                "[onclick]{color:red}",
                                "[href=x]{color:red}",
                                "[class^=a]{color:red}",
                                "@import 'x';",
                                "@import url(x);",
                                "@font-face{src:url(x)}",
                                "@charset 'x';",
                                "@namespace url(x);",
                                "@keyframes x{from{color:red}}",
                                "@supports (a:b){p{color:red}}",
                                "@media x);{p{color:red}}",
                                "@page{margin:1px}",
                                "{color:red}",
                                ",{color:red}",
                                "p{background:url(x)}",
                                "</style><script>alert(1)</script>",
                                "& p{color:red}",
                                "p:visited::after{color:red}",
                                ":root~p{color:red}"}) {
    EXPECT_EQ(cleanedStyleSheet(css, "S"), "") << css;
  }
}

TEST(Css, NeverClosesTheStyleElement) {
  for (const char* const css :
       {"a\\</style\\>{color:red}", "[class='</style>']{color:red}", ".a\\3c /style{color:red}",
        "p{font-family:\\</style}", "@media \\</style{p{color:red}}"}) {
    EXPECT_EQ(cleanedStyleSheet(css, "S").find('<'), std::string::npos) << css;
  }
}

TEST(Css, MediaQueriesAreHarmless) {
  EXPECT_TRUE(isCleanMediaQuery("screen and (max-width: 600px)"));
  EXPECT_TRUE(isCleanMediaQuery("print"));
  for (const char* const media : {"", "a{}", "x)", "((a)", "a;b", "\"a\"", "a<b", "url(x)"}) {
    EXPECT_FALSE(isCleanMediaQuery(media)) << media;
  }
}

TEST(Css, KnowsWhatHides) {
  EXPECT_TRUE(hidesElement("color:red;display:none"));
  EXPECT_TRUE(hidesElement("overflow:hidden;max-height:0"));
  EXPECT_TRUE(hidesElement("opacity:0.0"));
  EXPECT_FALSE(hidesElement("max-height:0"));
  EXPECT_FALSE(hidesElement("opacity:0.5"));
  EXPECT_FALSE(hidesElement("display:block"));
}

TEST(Css, TimeAndLengthAreLinear) {
  for (const char* const shape :
       {"a{", "a{}", "@media x{", "(", "[", "a,", "a{color:rgb(", "/*", "\"", "\\", "a ", "}",
        "a{color:red}", "*{color:red}", ":nth-child(", "url(", "-->", "a{b:c;"}) {
    const auto repeated = [&](std::size_t size) {
      std::string css;
      while (css.size() < size) {
        css += shape;
      }
      return css;
    };
    const auto clean = [&](const std::string& css) {
      EXPECT_LE(cleanedStyleSheet(css, "S").size(), 9 * css.size() + 8192) << shape;
      EXPECT_LE(cleanedDeclarations(css).size(), 2 * css.size() + 64) << shape;
    };
    const std::string small = repeated(20'000);
    const std::string large = repeated(80'000);
    EXPECT_TRUE(isLinear([&] { clean(small); }, [&] { clean(large); })) << shape;
  }
}

}  // namespace
}  // namespace brennox::html
