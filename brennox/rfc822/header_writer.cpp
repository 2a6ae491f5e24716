#include "rfc822/header_writer.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>
#include <unicode/uidna.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "rfc822/address_list.h"
#include "rfc822/date.h"
#include "rfc822/header_access.h"
#include "rfc822/header_fields.h"
#include "rfc822/message_id.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/encoded_word.h"

namespace brennox::rfc822 {
namespace {

// RFC 5322 section 2.1.1: lines should have 78 characters at most and must not have more than 998.
constexpr std::size_t kMaxLine = 78;
// What cannot be folded may take so much; with the longest name in front of it the line stays
// legal.
constexpr std::size_t kMaxUnfoldable = 880;
constexpr std::size_t kMaxFieldName = 76;
// A longer name is written as encoded-words, which fold anywhere.
constexpr std::size_t kMaxQuotedName = 60;

// Writes one field and keeps count of the line.
class Line {
 public:
  Line(std::string_view name, std::string& out) : out_(out) {
    out_ += name;
    out_ += ':';
    column_ = name.size() + 1;
  }

  // A blank and `piece`; on a new line if this one would get too long. A piece alone on its line
  // may be longer than it should.
  void add(std::string_view piece, bool mayFold = true) {
    const std::size_t limit = isEncoded_ ? text::kMaxEncodedLine : kMaxLine;
    if (mayFold && !empty_ && column_ + 1 + piece.size() > limit) {
      fold();
    } else {
      out_ += ' ';
      ++column_;
    }
    append(piece);
  }

  void append(std::string_view piece) {
    out_ += piece;
    column_ += piece.size();
    empty_ = false;
  }

  void addEncoded(std::string_view text) {
    out_ += ' ';
    ++column_;
    text::appendEncodedWords(text, column_, out_);
    empty_ = false;
    isEncoded_ = true;
  }

  void end() { out_ += "\r\n"; }

 private:
  void fold() {
    out_ += "\r\n ";
    column_ = 1;
    isEncoded_ = false;
  }

  std::string& out_;
  std::size_t column_ = 0;
  bool empty_ = true;
  // An encoded-word stands on the present line.
  bool isEncoded_ = false;
};

// Text without what could end a line: line ends become blanks, NUL goes; then trimmed.
std::string oneLine(std::string_view text) {
  std::string out;
  text::appendRepairedUtf8(text, out);
  std::replace(out.begin(), out.end(), '\r', ' ');
  std::replace(out.begin(), out.end(), '\n', ' ');
  out.erase(std::remove(out.begin(), out.end(), '\0'), out.end());
  return std::string(text::trimmed(out));
}

std::vector<std::string_view> splitAtBlanks(std::string_view text) {
  std::vector<std::string_view> words;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    words.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

// Puts text into a line: plain words as they are, from the first to the last that needs it encoded.
void addText(std::string_view text, Line& line) {
  const std::vector<std::string_view> words = splitAtBlanks(text);
  std::size_t first = words.size();
  std::size_t last = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (text::needsEncodedWords(words[i]) || words[i].size() > kMaxUnfoldable) {
      first = std::min(first, i);
      last = i;
    }
  }
  // Blanks in a row do not survive a fold: they belong into the encoded part where they touch it.
  while (first < words.size() && first > 0 && words[first - 1].empty()) {
    --first;
  }
  while (first < words.size() && last + 1 < words.size() && words[last + 1].empty()) {
    ++last;
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i == first) {
      const char* const begin = words[first].data();
      const char* const end = words[last].data() + words[last].size();
      line.addEncoded({begin, static_cast<std::size_t>(end - begin)});
      i = last;
      continue;
    }
    const bool amidBlanks = words[i].empty() || (i > 0 && words[i - 1].empty());
    line.add(words[i], !amidBlanks);
  }
}

bool isAtomText(char c) {
  return text::isAlpha(c) || text::isDigit(c) || static_cast<unsigned char>(c) >= 0x80 ||
         std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
}

// RFC 5322 section 3.2.3.
bool isDotAtom(std::string_view text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') {
    return false;
  }
  bool afterDot = false;
  for (const char c : text) {
    if (c == '.' ? afterDot : !isAtomText(c)) {
      return false;
    }
    afterDot = c == '.';
  }
  return true;
}

// Old software makes local parts with dots in any place; they need no quotes to be understood.
bool isLocalAtom(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || isAtomText(c); });
}

bool isQuotedString(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
    return false;
  }
  const std::string_view inner = text.substr(1, text.size() - 2);
  for (std::size_t i = 0; i < inner.size(); ++i) {
    if (inner[i] == '"' || static_cast<unsigned char>(inner[i]) < ' ' || inner[i] == 0x7F) {
      return false;
    }
    if (inner[i] == '\\' && ++i == inner.size()) {
      return false;
    }
  }
  return true;
}

bool isDomain(std::string_view text) {
  if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
    return std::all_of(text.begin() + 1, text.end() - 1, [](char c) {
      return text::hexValue(c) >= 0 || c == '.' || c == ':' || text::isAlpha(c) || c == '-';
    });
  }
  return isDotAtom(text);
}

std::string quotedText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
    }
    out += c;
  }
  out += '"';
  return out;
}

// A domain in other letters as servers know it (RFC 5891); as it is if it has no such form.
std::string asciiDomain(std::string_view domain) {
  if (text::isAscii(domain)) {
    return std::string(domain);
  }
  UErrorCode error = U_ZERO_ERROR;
  static UIDNA* const converter =
      uidna_openUTS46(UIDNA_NONTRANSITIONAL_TO_ASCII | UIDNA_CHECK_BIDI, &error);
  constexpr std::size_t kMaxDomain = 255;
  if (converter == nullptr || domain.size() > kMaxDomain) {
    return std::string(domain);
  }
  char buffer[kMaxDomain + 1];
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  error = U_ZERO_ERROR;
  const int32_t length =
      uidna_nameToASCII_UTF8(converter, domain.data(), static_cast<int32_t>(domain.size()), buffer,
                             static_cast<int32_t>(sizeof buffer), &info, &error);
  if (U_FAILURE(error) != 0 || info.errors != 0 || length <= 0 ||
      length > static_cast<int32_t>(kMaxDomain)) {
    return std::string(domain);
  }
  return {buffer, static_cast<std::size_t>(length)};
}

// The address as a list may have it if it is one, by RFC 5322 section 3.4.1.
std::optional<std::string> addrSpec(std::string_view text) {
  const std::size_t at = text.rfind('@');
  if (at == std::string_view::npos) {
    return isLocalAtom(text) ? std::optional<std::string>(text) : std::nullopt;
  }
  const std::string_view local = text.substr(0, at);
  const std::string_view domain = text.substr(at + 1);
  if (!isDomain(domain) || !(isLocalAtom(local) || isQuotedString(local))) {
    return std::nullopt;
  }
  return std::string(local) + "@" + asciiDomain(domain);
}

struct WireAddress {
  std::string name;
  std::string spec;
};

// A mailbox is whatever text somebody handed in. What is no address by itself is one after quoting;
// it can never become two, or anything else.
std::optional<WireAddress> wireAddress(Address* address) {
  if (address == nullptr) {
    return std::nullopt;
  }
  WireAddress result;
  result.name = oneLine(textOf(address->displayName()));
  std::string mailbox = oneLine(textOf(address->mailbox()));
  mailbox.erase(
      std::remove_if(mailbox.begin(), mailbox.end(),
                     [](char c) { return (static_cast<unsigned char>(c) < ' ') || c == 0x7F; }),
      mailbox.end());
  if (mailbox.empty()) {
    return std::nullopt;
  }
  std::optional<std::string> spec = addrSpec(mailbox);
  if (!spec && result.name.empty()) {
    // `Name <mailbox>` in one text.
    std::vector<Mailbox> parsed;
    parseAddressList(mailbox, "utf-8", EncodedWords::kKeep, parsed);
    if (parsed.size() == 1 && parsed.front().address.find('@') != std::string::npos &&
        mailbox.find('<') != std::string::npos) {
      spec = addrSpec(parsed.front().address);
      if (spec) {
        result.name = parsed.front().name;
      }
    }
  }
  if (!spec) {
    const std::size_t at = mailbox.rfind('@');
    const std::string_view whole(mailbox);
    if (at != std::string::npos && at > 0 && isDomain(whole.substr(at + 1))) {
      spec = quotedText(whole.substr(0, at)) + "@" + asciiDomain(whole.substr(at + 1));
    } else {
      spec = quotedText(mailbox);
    }
  }
  result.spec = std::move(*spec);
  if (result.spec.size() > kMaxUnfoldable) {
    return std::nullopt;
  }
  return result;
}

bool isPhraseOfAtoms(std::string_view text) {
  const std::vector<std::string_view> words = splitAtBlanks(text);
  return std::all_of(words.begin(), words.end(), [](std::string_view word) {
    return !word.empty() && std::all_of(word.begin(), word.end(), isAtomText);
  });
}

void addAddress(const WireAddress& address, std::string_view after, Line& line) {
  if (address.name.empty()) {
    line.add(address.spec + std::string(after));
    return;
  }
  if (text::needsEncodedWords(address.name) || address.name.size() > kMaxQuotedName) {
    line.addEncoded(address.name);
  } else if (isPhraseOfAtoms(address.name)) {
    addText(address.name, line);
  } else {
    line.add(quotedText(address.name));
  }
  line.add("<" + address.spec + ">" + std::string(after));
}

void writeWireAddresses(std::string_view name, const std::vector<WireAddress>& addresses,
                        std::string& out) {
  if (addresses.empty()) {
    return;
  }
  Line line(name, out);
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    addAddress(addresses[i], i + 1 < addresses.size() ? "," : "", line);
  }
  line.end();
}

// What an angle bracket may hold: nothing that could end it or the line.
std::string cleanID(std::string_view id) {
  std::string out;
  text::appendRepairedUtf8(id, out);
  out.erase(std::remove_if(out.begin(), out.end(),
                           [](char c) {
                             return static_cast<unsigned char>(c) <= ' ' || c == 0x7F || c == '<' ||
                                    c == '>';
                           }),
            out.end());
  return out.size() > kMaxUnfoldable ? std::string() : out;
}

// Fields that tell how a message came here and hold for that message alone.
bool isTrace(std::string_view name) {
  constexpr std::string_view kNames[] = {"received",
                                         "return-path",
                                         "dkim-signature",
                                         "domainkey-signature",
                                         "received-spf",
                                         "delivered-to",
                                         "authentication-results",
                                         "x-received",
                                         "x-original-to",
                                         "x-google-dkim-signature",
                                         "envelope-to",
                                         "status",
                                         "x-status",
                                         "x-uid",
                                         "lines"};
  return std::any_of(
             std::begin(kNames), std::end(kNames),
             [name](std::string_view known) { return text::equalsIgnoringCase(name, known); }) ||
         text::startsWithIgnoringCase(name, "arc-") ||
         text::startsWithIgnoringCase(name, "resent-");
}

// An extra field under the name of a property: it stands in where the property says nothing.
bool writeInPlaceOfProperty(MessageHeader* header, FieldId id, std::string_view name,
                            std::string_view value, std::string& out) {
  const auto writeList = [&](bool set) {
    std::vector<Mailbox> parsed;
    parseAddressList(value, "utf-8", EncodedWords::kDecode, parsed);
    std::vector<WireAddress> addresses;
    for (const Mailbox& mailbox : parsed) {
      Ref<Address> address = make<Address>();
      address->setDisplayName(make<String>(mailbox.name).get());
      address->setMailbox(make<String>(mailbox.address).get());
      if (std::optional<WireAddress> wire = wireAddress(address.get())) {
        addresses.push_back(std::move(*wire));
      }
    }
    if (!set) {
      writeWireAddresses(name, addresses, out);
    }
  };
  const auto writeIDs = [&](bool set) {
    std::vector<std::string> parsed;
    parseMessageIDs(value, parsed);
    const Ref<Array> ids = make<Array>();
    for (std::string& one : parsed) {
      ids->addObject(make<String>(std::move(one)).get());
    }
    if (!set) {
      writeMessageIDs(name, ids.get(), out);
    }
  };
  const auto isSet = [](Array* array) { return array != nullptr && array->count() > 0; };
  switch (id) {
    case FieldId::kFrom:
      writeList(header->from() != nullptr);
      return true;
    case FieldId::kSender:
      writeList(header->sender() != nullptr);
      return true;
    case FieldId::kTo:
      writeList(isSet(header->to()));
      return true;
    case FieldId::kCc:
      writeList(isSet(header->cc()));
      return true;
    case FieldId::kReplyTo:
      writeList(isSet(header->replyTo()));
      return true;
    case FieldId::kInReplyTo:
      writeIDs(isSet(header->inReplyTo()));
      return true;
    case FieldId::kReferences:
      writeIDs(isSet(header->references()));
      return true;
    case FieldId::kSubject:
      if (header->subject() == nullptr) {
        writeText(name, value, out);
      }
      return true;
    case FieldId::kUserAgent:
      if (textOf(header->userAgent()).empty()) {
        writeText(name, value, out);
      }
      return true;
    case FieldId::kDate:
    case FieldId::kMessageID:
    case FieldId::kBcc:
      return true;
    default:
      return false;
  }
}

void writeExtra(MessageHeader* header, const ExtraField& extra, std::string& out) {
  const std::string_view name = extra.name->view();
  if (!isFieldName(name) || text::startsWithIgnoringCase(name, "content-") ||
      text::equalsIgnoringCase(name, "mime-version") ||
      text::equalsIgnoringCase(name, "resent-bcc") || (extra.parsed && isTrace(name))) {
    return;
  }
  if (!writeInPlaceOfProperty(header, fieldId(name), name, textOf(extra.value.get()), out)) {
    writeText(name, textOf(extra.value.get()), out);
  }
}

}  // namespace

bool isFieldName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxFieldName &&
         std::all_of(name.begin(), name.end(),
                     [](char c) { return c > ' ' && c < 0x7F && c != ':'; });
}

void writeText(std::string_view name, std::string_view utf8, std::string& out) {
  const std::string text = oneLine(utf8);
  if (text.empty() || !isFieldName(name)) {
    return;
  }
  Line line(name, out);
  addText(text, line);
  line.end();
}

void writeStructured(std::string_view name, std::string_view value, std::string& out) {
  std::string text = oneLine(value);
  std::replace_if(
      text.begin(), text.end(),
      [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, ' ');
  if (text.empty() || !isFieldName(name)) {
    return;
  }
  Line line(name, out);
  for (std::string_view word : splitAtBlanks(text)) {
    while (word.size() > kMaxUnfoldable) {
      line.add(word.substr(0, kMaxUnfoldable));
      word.remove_prefix(kMaxUnfoldable);
    }
    line.add(word, !word.empty());
  }
  line.end();
}

void writeAddress(std::string_view name, Address* address, std::string& out) {
  if (std::optional<WireAddress> wire = wireAddress(address)) {
    writeWireAddresses(name, {std::move(*wire)}, out);
  }
}

void writeAddresses(std::string_view name, Array* addresses, std::string& out) {
  std::vector<WireAddress> wires;
  for (unsigned int i = 0; addresses != nullptr && i < addresses->count(); ++i) {
    if (std::optional<WireAddress> wire = wireAddress(addresses->at<Address>(i))) {
      wires.push_back(std::move(*wire));
    }
  }
  writeWireAddresses(name, wires, out);
}

void writeMessageID(std::string_view name, std::string_view id, std::string& out) {
  const std::string clean = cleanID(id);
  if (!clean.empty()) {
    Line line(name, out);
    line.add("<" + clean + ">");
    line.end();
  }
}

void writeMessageIDs(std::string_view name, Array* ids, std::string& out) {
  std::vector<std::string> clean;
  for (unsigned int i = 0; ids != nullptr && i < ids->count(); ++i) {
    std::string id = cleanID(ids->at<String>(i)->view());
    if (!id.empty()) {
      clean.push_back(std::move(id));
    }
  }
  if (clean.empty()) {
    return;
  }
  Line line(name, out);
  for (const std::string& id : clean) {
    line.add("<" + id + ">");
  }
  line.end();
}

void writeDate(std::string_view name, std::time_t date, std::string& out) {
  if (date != -1) {
    Line line(name, out);
    line.add(formatDate(date));
    line.end();
  }
}

void writeHeader(MessageHeader* header, std::string& out) {
  if (header == nullptr) {
    return;
  }
  writeDate("Date", header->date(), out);
  writeAddress("From", header->from(), out);
  writeAddress("Sender", header->sender(), out);
  writeAddresses("Reply-To", header->replyTo(), out);
  writeAddresses("To", header->to(), out);
  writeAddresses("Cc", header->cc(), out);
  writeMessageID("Message-ID", textOf(header->messageID()), out);
  writeMessageIDs("In-Reply-To", header->inReplyTo(), out);
  writeMessageIDs("References", header->references(), out);
  writeText("Subject", textOf(header->subject()), out);
  const std::vector<ExtraField> extras = HeaderAccess::extraFields(header);
  // A parsed header has its X-Mailer as the user agent too: once is enough.
  const std::string_view userAgent = textOf(header->userAgent());
  const bool repeated =
      std::any_of(extras.begin(), extras.end(), [userAgent](const ExtraField& extra) {
        return fieldId(extra.name->view()) == FieldId::kXMailer &&
               textOf(extra.value.get()) == userAgent;
      });
  if (!repeated) {
    writeText("User-Agent", userAgent, out);
  }
  for (const ExtraField& extra : extras) {
    writeExtra(header, extra, out);
  }
}

std::string addressText(Address* address) {
  const std::optional<WireAddress> wire = wireAddress(address);
  if (!wire) {
    return {};
  }
  if (wire->name.empty()) {
    return wire->spec;
  }
  std::string text;
  if (text::needsEncodedWords(wire->name)) {
    std::size_t column = 0;
    text::appendEncodedWords(wire->name, column, text);
  } else {
    text = isPhraseOfAtoms(wire->name) ? wire->name : quotedText(wire->name);
  }
  return text + " <" + wire->spec + ">";
}

}  // namespace brennox::rfc822
