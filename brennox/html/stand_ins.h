// Stand-ins for runs of text while a tree is built.
//
// The tree builder takes its time over each character: hundreds of instructions in text, more than
// a hundred in comments and attributes. But for white space at its start, a run of text is treated
// as its first character is. So the tree builder is given one private-use character for each run,
// and the run itself is put into the finished tree.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brennox::html {

class StandIns {
 public:
  // False when stand-ins could be taken for characters of the text itself.
  static bool mayServe(std::string_view html);

  // Appends text that stands between tags. What means something to a tokenizer (white space in
  // front, "&", "<") or is changed by it (line ends, what is no text) stays as it is.
  void appendText(std::string_view text, std::string& out);
  // The same inside of an element whose content is raw text.
  void appendRawText(std::string_view text, std::string& out);
  // The value of an attribute, without quotes. Equal values have the same stand-in: the tree
  // builder compares elements.
  void appendValue(std::string_view value, std::string& out);

  // Whether a text or value of the finished tree has any.
  static bool areIn(std::string_view text);
  // Its length with its runs in their places.
  std::size_t restoredLength(std::string_view text) const;
  // Writes so many characters.
  void restore(std::string_view text, char* out) const;

 private:
  void append(std::string_view text, bool isRaw, std::string& out);
  // The run whose stand-in `text` starts with; null when it starts with none.
  const std::string_view* runAt(std::string_view text) const;

  std::vector<std::string_view> runs_;
  // Where the values are among the runs.
  std::unordered_map<std::string_view, std::size_t> values_;
};

}  // namespace brennox::html
