// The tree builder has to do what the cleaning relies on: the standard's own test vectors.
#include "html/parse_tree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/fixtures_for_test.h"
#include "html/escape.h"
#include "html/vectors_for_test.h"
#include "text/ascii.h"

namespace brennox::html {
namespace {

// Writes a tree in the form of the test files, without the document type and comments.
class Dump {
 public:
  bool enter(const GumboNode* node) {
    if (isText(node)) {
      if (!inText_) {
        out_ += "| " + std::string(2 * depth_, ' ') + '"';
        inText_ = true;
      } else {
        out_.pop_back();
        out_.pop_back();
      }
      out_ += cleanedText(node->v.text.text);
      out_ += "\"\n";
      return false;
    }
    if (!isElement(node)) {
      return false;
    }
    inText_ = false;
    out_ += "| " + std::string(2 * depth_, ' ') + '<' + nameOf(node) + ">\n";
    ++depth_;
    return true;
  }
  void leave(const GumboNode* /*node*/) {
    inText_ = false;
    --depth_;
  }
  const std::string& text() const { return out_; }

 private:
  static std::string nameOf(const GumboNode* node) {
    if (node->v.element.tag != GUMBO_TAG_UNKNOWN) {
      return gumbo_normalized_tagname(node->v.element.tag);
    }
    GumboStringPiece name = node->v.element.original_tag;
    gumbo_tag_from_original_text(&name);
    return text::lowered({name.data, name.length});
  }

  std::string out_;
  std::size_t depth_ = 0;
  bool inText_ = false;
};

// The wanted tree without lines that Dump does not write; "" for a vector that says nothing here.
std::string wantedTree(const std::string& document) {
  std::istringstream lines(document);
  std::string out;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t text = line.empty() ? std::string::npos : line.find_first_not_of("| ");
    const bool isElementLine = text != std::string::npos && line[text] == '<' && line.back() == '>';
    const bool isAttribute = !line.empty() && line[0] == '|' && text != std::string::npos &&
                             line[text] != '"' && !isElementLine &&
                             line.find("=\"") != std::string::npos;
    if (line.rfind("| <!", 0) == 0 || line.find("<!--") != std::string::npos || isAttribute) {
      continue;
    }
    out += line + '\n';
  }
  return out;
}

// Elements that are taken out before parsing, that this tree builder has no name for, or whose
// rules came into the standard later than it. None of them is in a rendering.
bool isBeside(const std::string& data, const std::string& document) {
  for (const char* const name :
       {"svg", "math",      "select",    "script", "template", "frame",  "menuitem", "isindex",
        "SVG", "MATH",      "SELECT",    "SCRIPT", "keygen",   "search", "<ruby",    "noscript",
        "<?",  "<![CDATA[", "plaintext", "<!-",    "dialog",   "<main",  "rtc",      "<rb"}) {
    if (data.find(name) != std::string::npos || document.find(name) != std::string::npos) {
      return true;
    }
  }
  for (const char c : data) {
    if (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' && c != '\f') {
      return true;
    }
  }
  return false;
}

TEST(ParseTree, BuildsTheTreesOfTheStandard) {
  std::size_t count = 0;
  std::size_t beside = 0;
  std::vector<std::filesystem::path> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(fixturePath("render/html5lib"))) {
    // All is parsed in no-quirks mode here.
    if (entry.path().extension() == ".dat" && entry.path().stem() != "quirks01") {
      files.push_back(entry.path());
    }
  }
  for (const auto& path : files) {
    const std::string content = fileForTest("html5lib/" + path.filename().string());
    for (std::size_t at = content.find("#data\n"); at != std::string::npos;) {
      const std::size_t next = content.find("\n#data\n", at);
      const std::string test = content.substr(at, next == std::string::npos ? next : next - at);
      at = next == std::string::npos ? next : next + 1;
      const std::size_t errors = test.find("\n#errors");
      const std::size_t document = test.find("\n#document\n");
      if (errors == std::string::npos || document == std::string::npos ||
          test.find("\n#document-fragment") != std::string::npos) {
        continue;
      }
      const std::string data = test.substr(6, errors - 6);
      std::string wanted = test.substr(document + 11);
      while (!wanted.empty() && wanted.back() == '\n') {
        wanted.pop_back();
      }
      if (isBeside(data, wanted)) {
        ++beside;
        continue;
      }
      const ParseTree tree(data);
      Dump dump;
      walk(tree.root(), dump);
      EXPECT_EQ(dump.text(), cleanedText(wantedTree(wanted))) << path.filename() << ": " << data;
      ++count;
    }
  }
  EXPECT_GT(count, 150U);
  RecordProperty("beside", static_cast<int>(beside));
}

}  // namespace
}  // namespace brennox::html
