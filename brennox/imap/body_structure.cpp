#include "imap/body_structure.h"

#include <brennox/Array.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <string>
#include <vector>

#include "imap/envelope.h"
#include "imap/sexpr.h"
#include "mime/filename.h"
#include "rfc822/message_id.h"
#include "rfc822/parameters.h"
#include "text/ascii.h"
#include "text/encoded_word.h"

namespace brennox::imap {
namespace {

Ref<String> stringOrNull(std::string text) {
  return text.empty() ? Ref<String>() : make<String>(std::move(text));
}

// A list of names and values as the parameters of a header field, so that continuations, charsets
// and encoded-words are read the way a message's own are.
rfc822::ParameterizedValue parametersOf(const Tree& tree, Tree::Index list) {
  std::string raw = "x";
  for (Tree::Index name = tree.firstChild(list); name != Tree::kNone;) {
    const Tree::Index value = tree.next(name);
    const std::string key = tree.string(name);
    if (!key.empty() && tree.isString(value) &&
        key.find_first_of(" \t\r\n;=\"") == std::string::npos) {
      raw += "; " + key + "=";
      const std::string text = tree.string(value);
      // RFC 2231's forms are not quoted.
      const bool bare = key.back() == '*' && text.find_first_of(" \t;\"\\") == std::string::npos;
      raw += bare ? "" : "\"";
      for (const char c : text) {
        if (!bare && (c == '"' || c == '\\')) {
          raw += '\\';
        }
        raw += c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
      }
      raw += bare ? "" : "\"";
    }
    name = tree.next(value);
  }
  return rfc822::parseParameterized(raw);
}

PartType multipartType(std::string_view subtype) {
  return subtype == "related"       ? PartType::MultipartRelated
         : subtype == "alternative" ? PartType::MultipartAlternative
         : subtype == "signed"      ? PartType::MultipartSigned
                                    : PartType::MultipartMixed;
}

// One part whose children are still to be read.
struct Task {
  Tree::Index node;
  Ref<IMAPPart> part;
  // The section number of the part itself, and what the numbers of its children start with.
  std::string number;
  std::string prefix;
};

class Builder {
 public:
  explicit Builder(const Tree& tree) : tree_(tree) {}

  Ref<IMAPPart> build() {
    if (!tree_.isList(tree_.root())) {
      return nullptr;
    }
    Ref<IMAPPart> root = make<IMAPPart>();
    push(tree_.root(), root, "", true);
    while (!tasks_.empty()) {
      const Task task = std::move(tasks_.back());
      tasks_.pop_back();
      if (tree_.isList(tree_.firstChild(task.node))) {
        multipart(task);
      } else {
        single(task);
      }
    }
    return root;
  }

 private:
  // `prefix` is the number of the message that this part is the whole body of, or, with `whole`
  // false, the part's own number.
  void push(Tree::Index node, Ref<IMAPPart> part, const std::string& prefix, bool whole) {
    Task task{node, std::move(part), prefix, prefix};
    if (whole) {
      const bool multipart = tree_.isList(tree_.firstChild(node));
      const std::string dot = prefix.empty() ? "" : ".";
      task.number = multipart ? "" : prefix + dot + "1";
    }
    task.part->setUniqueID(
        make<String>(task.number.empty() ? prefix + (prefix.empty() ? "0" : ".0") : task.number)
            .get());
    task.part->setPartID(stringOrNull(task.number).get());
    tasks_.push_back(std::move(task));
  }

  void multipart(const Task& task) {
    const Ref<Array> parts = make<Array>();
    std::vector<Task> children;
    Tree::Index node = tree_.firstChild(task.node);
    std::size_t position = 0;
    for (; tree_.isList(node); node = tree_.next(node)) {
      ++position;
      const Ref<IMAPPart> child = make<IMAPPart>();
      parts->addObject(child.get());
      push(node, child, task.prefix + (task.prefix.empty() ? "" : ".") + std::to_string(position),
           false);
    }
    const std::string subtype = text::lowered(tree_.string(node));
    task.part->setPartType(multipartType(subtype));
    task.part->setMimeType(
        make<String>("multipart/" + (subtype.empty() ? "mixed" : subtype)).get());
    task.part->setParts(parts.get());
    extensions(*task.part, tree_.next(tree_.next(node)));
  }

  void single(const Task& task) {
    IMAPPart& part = *task.part;
    Tree::Index node = tree_.firstChild(task.node);
    const auto take = [&] {
      const Tree::Index taken = node;
      node = tree_.next(node);
      return taken;
    };
    const std::string type = text::lowered(tree_.string(take()));
    const std::string subtype = text::lowered(tree_.string(take()));
    const rfc822::ParameterizedValue parameters = parametersOf(tree_, take());
    const std::string id = tree_.string(take());
    const std::string description = tree_.string(take());
    const std::string encoding = text::lowered(tree_.string(take()));
    part.setPartType(PartType::Single);
    part.setSize(numberOf(take()));
    part.setMimeType(make<String>(type.empty() || subtype.empty() ? "application/octet-stream"
                                                                  : type + "/" + subtype)
                         .get());
    part.setCharset(stringOrNull(std::string(parameters.get("charset"))).get());
    part.setContentID(stringOrNull(rfc822::parseMessageID(id)).get());
    part.setContentDescription(stringOrNull(text::decodeWords(description)).get());
    part.setEncoding(stringOrNull(encoding).get());
    part.setFilename(stringOrNull(mime::cleanFilename(parameters.get("name"))).get());
    part.setFlowed(text::equalsIgnoringCase(parameters.get("format"), "flowed"),
                   text::equalsIgnoringCase(parameters.get("delsp"), "yes"));
    if (type == "text") {
      // The number of lines. Some servers leave it out.
      if (!tree_.isList(node) && tree_.isString(node) && isNumber(tree_.string(node))) {
        take();
      }
    } else if (type == "message" && (subtype == "rfc822" || subtype == "global") &&
               tree_.isList(node)) {
      const Tree::Index envelope = take();
      part.setPartType(PartType::Message);
      part.setHeader(headerOf(tree_, envelope).get());
      if (tree_.isList(node)) {
        const Ref<IMAPPart> child = make<IMAPPart>();
        part.setMainPart(child.get());
        push(take(), child, task.number, true);
      }
      if (isNumber(tree_.string(node))) {
        take();
      }
    }
    // The MD5 of the content comes before what multiparts have too.
    take();
    extensions(part, node);
  }

  // body-fld-dsp, body-fld-lang, body-fld-loc.
  void extensions(IMAPPart& part, Tree::Index disposition) {
    if (tree_.isList(disposition)) {
      const std::string kind = text::lowered(tree_.string(tree_.child(disposition, 0)));
      part.setInlineAttachment(kind == "inline");
      part.setAttachment(kind == "attachment");
      const std::string name =
          mime::cleanFilename(parametersOf(tree_, tree_.child(disposition, 1)).get("filename"));
      if (!name.empty()) {
        part.setFilename(make<String>(name).get());
      }
    }
    const Tree::Index location = tree_.next(tree_.next(disposition));
    part.setContentLocation(stringOrNull(tree_.string(location)).get());
  }

  static bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  }

  std::uint32_t numberOf(Tree::Index node) const {
    const std::string text = tree_.string(node);
    std::uint32_t value = 0;
    return isNumber(text) && WireReader(text).number(&value) ? value : 0;
  }

  const Tree& tree_;
  std::vector<Task> tasks_;
};

}  // namespace

Ref<IMAPPart> parseBodyStructure(std::string_view text) {
  const Tree tree = Tree::parse(text);
  return Builder(tree).build();
}

}  // namespace brennox::imap
