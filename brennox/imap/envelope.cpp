#include "imap/envelope.h"

#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>

#include "rfc822/header_fields.h"
#include "text/ascii.h"

namespace brennox::imap {
namespace {

// Positions in the envelope.
enum : std::size_t {
  kDate,
  kSubject,
  kFrom,
  kSender,
  kReplyTo,
  kTo,
  kCc,
  kBcc,
  kInReplyTo,
  kMessageID,
};

// A server's string becomes part of a header: whatever would end the line becomes a blank.
void appendOneLine(std::string_view text, std::string* out) {
  for (const char c : text) {
    *out += c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
  }
}

void appendField(std::string_view name, std::string_view value, std::string* out) {
  if (value.empty()) {
    return;
  }
  *out += name;
  *out += ": ";
  appendOneLine(value, out);
  *out += "\r\n";
}

// Encoded-words are not recognised inside quotes, so names that are made of them stay bare.
bool isEncodedWords(std::string_view name) {
  return text::startsWithIgnoringCase(name, "=?") && name.size() >= 4 &&
         name.substr(name.size() - 2) == "?=" &&
         name.find_first_of("\",;<>()@\\:") == std::string_view::npos;
}

void appendQuoted(std::string_view text, std::string* out) {
  *out += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      *out += '\\';
    }
    *out += c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
  }
  *out += '"';
}

bool isDotAtom(std::string_view text) {
  if (text.empty()) {
    return false;
  }
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte == 0x7F ||
        std::string_view("\"(),:;<>@[\\]").find(c) != std::string_view::npos) {
      return false;
    }
  }
  return true;
}

// (name route mailbox host); a group starts with a mailbox that has no host and ends with four
// NILs.
void appendAddresses(const Tree& tree, Tree::Index list, std::string_view name, std::string* out) {
  std::string value;
  bool inGroup = false;
  for (Tree::Index item = tree.firstChild(list); item != Tree::kNone; item = tree.next(item)) {
    if (!tree.isList(item)) {
      continue;
    }
    const Tree::Index first = tree.child(item, 0);
    const Tree::Index mailboxNode = tree.child(item, 2);
    const Tree::Index hostNode = tree.child(item, 3);
    const std::string display = tree.string(first);
    const std::string mailbox = tree.string(mailboxNode);
    const std::string host = tree.string(hostNode);
    if (!tree.isString(hostNode)) {
      if (!tree.isString(mailboxNode)) {
        value += inGroup ? ";" : "";
        inGroup = false;
        continue;
      }
      // Servers also describe a bare local part this way. A group of nobody reads as nothing, so
      // what follows decides: members, or the end of the list.
      const Tree::Index following = tree.next(item);
      if (tree.isList(following) && display.empty()) {
        value += value.empty() || value.back() == ';' ? "" : ", ";
        appendQuoted(mailbox, &value);
        value += ":";
        inGroup = true;
        continue;
      }
    }
    const char before = value.empty() ? ':' : value.back();
    value += before == ':' ? "" : ", ";
    if (!display.empty()) {
      if (isEncodedWords(display)) {
        value += display;
      } else {
        appendQuoted(display, &value);
      }
      value += ' ';
    }
    value += '<';
    if (isDotAtom(mailbox)) {
      value += mailbox;
    } else {
      appendQuoted(mailbox, &value);
    }
    if (!host.empty() && host != ".MISSING-HOST-NAME." && host != "MISSING_DOMAIN") {
      value += '@';
      for (const char c : host) {
        if (c != '<' && c != '>') {
          value += c;
        }
      }
    }
    value += '>';
  }
  if (inGroup) {
    value += ';';
  }
  appendField(name, value, out);
}

}  // namespace

std::string envelopeFields(const Tree& tree, Tree::Index envelope, bool withSubject) {
  std::string out;
  if (!tree.isList(envelope)) {
    return out;
  }
  Tree::Index nodes[10];
  Tree::Index node = tree.firstChild(envelope);
  for (Tree::Index& slot : nodes) {
    slot = node;
    node = tree.next(node);
  }
  appendField("Date", tree.string(nodes[kDate]), &out);
  if (withSubject) {
    appendField("Subject", tree.string(nodes[kSubject]), &out);
  }
  appendAddresses(tree, nodes[kFrom], "From", &out);
  appendAddresses(tree, nodes[kSender], "Sender", &out);
  appendAddresses(tree, nodes[kReplyTo], "Reply-To", &out);
  appendAddresses(tree, nodes[kTo], "To", &out);
  appendAddresses(tree, nodes[kCc], "Cc", &out);
  appendAddresses(tree, nodes[kBcc], "Bcc", &out);
  appendField("In-Reply-To", tree.string(nodes[kInReplyTo]), &out);
  appendField("Message-ID", tree.string(nodes[kMessageID]), &out);
  return out;
}

Ref<MessageHeader> headerOf(std::string_view envelope, std::string_view fields) {
  const AutoreleasePool pool;
  bool hasSubject = false;
  rfc822::FieldScanner scanner(fields);
  for (rfc822::HeaderField field; scanner.next(field);) {
    hasSubject = hasSubject || field.id == rfc822::FieldId::kSubject;
  }
  std::string text;
  if (!envelope.empty()) {
    const Tree tree = Tree::parse(envelope);
    text = envelopeFields(tree, tree.root(), !hasSubject);
  }
  text += fields;
  return Ref<MessageHeader>(
      MessageHeader::headerWithData(Data::dataWithBytes(text.data(), text.size())));
}

Ref<MessageHeader> headerOf(const Tree& tree, Tree::Index envelope) {
  const AutoreleasePool pool;
  const std::string text = envelopeFields(tree, envelope, true);
  return Ref<MessageHeader>(
      MessageHeader::headerWithData(Data::dataWithBytes(text.data(), text.size())));
}

}  // namespace brennox::imap
