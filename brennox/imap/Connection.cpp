#include "imap/Connection.h"

#include <algorithm>

#include "net/sasl.h"
#include "platform/socket.h"

namespace brennox::imap {
namespace {

// What a response may grow to unless a command expects more: a FETCH with thousands of parts, a
// long list of UIDs.
constexpr ResponseLimits kDefaultLimits = {16 * 1024 * 1024, SIZE_MAX, 0};
// A server that keeps talking without ever answering the command is given up after this many
// time-outs.
constexpr int kPatience = 20;
constexpr std::size_t kMaxContinuation = 64 * 1024;

std::string tagText(unsigned tag) {
  return "B" + std::to_string(tag);
}

}  // namespace

Connection::Connection() : lines_(stream_), limits_(kDefaultLimits) {}

ErrorCode Connection::open(const net::Endpoint& endpoint) {
  close();
  const ErrorCode error = stream_.open(endpoint);
  if (error != ErrorNone) {
    return error;
  }
  open_ = true;
  bye_ = idleEnd_ = false;
  begin();
  const auto hear = [this](std::string_view line) {
    if (line.substr(0, 2) == "* ") {
      WireReader reader(line);
      untagged(reader);
    }
  };
  const std::string& greeting = stream_.greeting();
  loggedIn_ = sameKeyword(std::string_view(greeting).substr(0, 10), "* PREAUTH ") ||
              sameKeyword(greeting, "* PREAUTH");
  // A greeting was sent in the clear, STARTTLS or not: its capabilities count only without.
  if (endpoint.connectionType != ConnectionTypeStartTLS) {
    hear(greeting);
  }
  for (const std::string& line : stream_.lines()) {
    hear(line);
  }
  return ErrorNone;
}

void Connection::close() {
  stream_.close();
  lines_.clear();
  outgoing_.clear();
  pending_.clear();
  handler_ = nullptr;
  capabilities_ = Capabilities();
  knowsCapabilities_ = false;
  selected_.reset();
  open_ = loggedIn_ = qresync_ = false;
}

bool Connection::isAlive() {
  if (!open_ || stream_.error() != ErrorNone) {
    return false;
  }
  lines_.readAhead();
  const std::string_view ahead = lines_.buffered();
  if (stream_.error() != ErrorNone || ahead.substr(0, 6) == "* BYE " ||
      ahead.find("\n* BYE ") != std::string_view::npos) {
    idleEnd_ = true;
    stream_.fail(ErrorConnection);
    return false;
  }
  return true;
}

void Connection::begin() {
  protocolError_ = false;
  limits_ = kDefaultLimits;
  progress_ = nullptr;
  handler_ = nullptr;
  lastUseful_ = std::chrono::steady_clock::now();
}

CommandWriter Connection::command() const {
  return CommandWriter(has(IMAPCapabilityLiteralPlus)    ? LiteralMode::kPlus
                       : has(IMAPCapabilityLiteralMinus) ? LiteralMode::kMinus
                                                         : LiteralMode::kSynchronizing);
}

unsigned Connection::send(const CommandWriter& command) {
  const unsigned tag = ++lastTag_;
  pending_.push_back({tag, std::nullopt});
  outgoing_ += tagText(tag) + " ";
  const std::string_view text = command.text();
  std::size_t start = 0;
  for (const std::size_t wait : command.waits()) {
    outgoing_ += text.substr(start, wait - start);
    start = wait;
    std::string ignored;
    Completion completion;
    if (!continuation(tag, &ignored, &completion)) {
      // Refused, or lost: finish() tells.
      pendingOf(tag)->completion = completion;
      return tag;
    }
  }
  outgoing_ += text.substr(start);
  outgoing_ += "\r\n";
  return tag;
}

bool Connection::flush() {
  if (outgoing_.empty()) {
    return stream_.error() == ErrorNone;
  }
  const bool sent = stream_.write(outgoing_);
  // It may hold a password.
  net::wipe(&outgoing_);
  return sent;
}

void Connection::sendLine(std::string_view line) {
  outgoing_ += line;
  outgoing_ += "\r\n";
}

Connection::Pending* Connection::pendingOf(unsigned tag) {
  const auto found = std::find_if(pending_.begin(), pending_.end(),
                                  [tag](const Pending& pending) { return pending.tag == tag; });
  return found == pending_.end() ? nullptr : &*found;
}

Completion Connection::finish(unsigned tag) {
  // What is known to be over needs no word to the server, which may wait for the rest of a literal.
  if (pendingOf(tag) != nullptr && !pendingOf(tag)->completion) {
    flush();
  }
  for (;;) {
    Pending* const pending = pendingOf(tag);
    if (pending == nullptr) {
      return {};
    }
    if (pending->completion) {
      Completion completion = std::move(*pending->completion);
      pending_.erase(pending_.begin() + (pending - pending_.data()));
      return completion;
    }
    const Kind kind = next();
    if (kind == Kind::kLost) {
      pending_.clear();
      return {};
    }
    if (kind == Kind::kContinuation) {
      // Nobody asked for it.
      noteProtocolError();
    }
  }
}

bool Connection::continuation(unsigned tag, std::string* text, Completion* completion) {
  flush();
  for (;;) {
    Pending* const pending = pendingOf(tag);
    if (pending == nullptr || pending->completion) {
      *completion = pending == nullptr ? Completion() : *pending->completion;
      return false;
    }
    switch (next()) {
      case Kind::kContinuation:
        *text = continuationText_;
        return true;
      case Kind::kLost:
        *completion = Completion();
        return false;
      case Kind::kUntagged:
      case Kind::kTagged:
        break;
    }
  }
}

Connection::Kind Connection::next() {
  if (bye_) {
    stream_.fail(ErrorConnection);
  }
  if (std::chrono::steady_clock::now() - lastUseful_ > kPatience * stream_.timeout()) {
    stream_.fail(ErrorConnection);
  }
  if (!open_ || stream_.error() != ErrorNone ||
      !readResponse(stream_, lines_, limits_, &response_, progress_)) {
    return Kind::kLost;
  }
  const std::string_view text = response_.text;
  if (text.substr(0, 2) == "* ") {
    WireReader reader(response_);
    untagged(reader);
    return Kind::kUntagged;
  }
  if (!text.empty() && text[0] == '+') {
    continuationText_ = text.substr(text.size() >= 2 && text[1] == ' ' ? 2 : 1, kMaxContinuation);
    lastUseful_ = std::chrono::steady_clock::now();
    return Kind::kContinuation;
  }
  const std::size_t space = text.find(' ');
  const std::string_view tag = text.substr(0, space);
  for (Pending& pending : pending_) {
    if (tag != tagText(pending.tag) || pending.completion) {
      continue;
    }
    const std::string_view rest =
        space == std::string_view::npos ? std::string_view() : text.substr(space + 1);
    const std::string_view word = rest.substr(0, rest.find(' '));
    Completion completion;
    completion.result = sameKeyword(word, "OK")   ? Completion::Result::kOk
                        : sameKeyword(word, "NO") ? Completion::Result::kNo
                                                  : Completion::Result::kBad;
    if (!completion.isOk() && !sameKeyword(word, "NO") && !sameKeyword(word, "BAD")) {
      noteProtocolError();
    }
    if (rest.size() > word.size()) {
      splitCode(rest.substr(word.size() + 1), &completion.code, &completion.arguments);
      applyCode(completion.code, completion.arguments);
    }
    pending.completion = std::move(completion);
    lastUseful_ = std::chrono::steady_clock::now();
    return Kind::kTagged;
  }
  noteProtocolError();
  return Kind::kUntagged;
}

void Connection::splitCode(std::string_view text, std::string* code, std::string* arguments) {
  if (text.empty() || text[0] != '[') {
    return;
  }
  // A keyword in a list of flags may have a bracket in it.
  std::size_t depth = 0;
  for (std::size_t i = 1; i < text.size(); ++i) {
    depth += text[i] == '(' ? 1 : 0;
    depth -= text[i] == ')' && depth > 0 ? 1 : 0;
    if (text[i] == ']' && depth == 0) {
      const std::string_view inside = text.substr(1, i - 1);
      const std::size_t space = inside.find(' ');
      *code = upperCase(inside.substr(0, space));
      *arguments = space == std::string_view::npos ? std::string_view() : inside.substr(space + 1);
      return;
    }
  }
}

void Connection::applyCode(std::string_view code, std::string_view arguments) {
  WireReader reader(arguments);
  if (code == "CAPABILITY") {
    capabilities_ = Capabilities::parse(arguments);
    knowsCapabilities_ = true;
    return;
  }
  if (!selected_) {
    return;
  }
  std::uint32_t number = 0;
  if (code == "UIDNEXT" && reader.number(&number)) {
    selected_->uidNext = number;
  } else if (code == "UIDVALIDITY" && reader.number(&number)) {
    selected_->uidValidity = number;
  } else if (code == "UNSEEN" && reader.number(&number)) {
    selected_->firstUnseen = number;
  } else if (code == "HIGHESTMODSEQ") {
    std::uint64_t value = 0;
    if (reader.number64(&value)) {
      selected_->highestModSeq = value;
    }
  } else if (code == "NOMODSEQ") {
    selected_->highestModSeq = 0;
  } else if (code == "READ-ONLY") {
    selected_->readOnly = true;
  } else if (code == "READ-WRITE") {
    selected_->readOnly = false;
  } else if (code == "PERMANENTFLAGS") {
    selected_->allowsNewFlags = arguments.find("\\*") != std::string_view::npos;
  } else if (code == "CLOSED") {
    // What came before was about the folder that was selected until now.
    std::string name = std::move(selected_->name);
    selecting(std::move(name));
  }
}

void Connection::status(std::string_view word, std::string_view text) {
  std::string code;
  std::string arguments;
  splitCode(text, &code, &arguments);
  if (sameKeyword(word, "BYE")) {
    bye_ = true;
    return;
  }
  applyCode(code, arguments);
  if (handler_ != nullptr && !code.empty()) {
    WireReader reader(arguments);
    handler_->code(code, reader);
    if (reader.hasFailed()) {
      noteProtocolError();
    }
  }
}

void Connection::untagged(WireReader& reader) {
  reader.character('*');
  reader.skipSpaces();
  std::uint32_t number = 0;
  if (reader.peek() >= '0' && reader.peek() <= '9') {
    if (!reader.number(&number) || !reader.space()) {
      noteProtocolError();
      return;
    }
  }
  std::string_view name;
  if (!reader.atom(&name)) {
    noteProtocolError();
    return;
  }
  reader.skipSpaces();
  for (const char* word : {"OK", "NO", "BAD", "BYE", "PREAUTH"}) {
    if (sameKeyword(name, word)) {
      status(name, reader.rest());
      return;
    }
  }
  if (handler_ != nullptr && handler_->data(number, name, reader)) {
    lastUseful_ = std::chrono::steady_clock::now();
  } else if (sameKeyword(name, "CAPABILITY")) {
    capabilities_ = Capabilities::parse(reader.rest());
    knowsCapabilities_ = true;
  } else if (sameKeyword(name, "ENABLED")) {
    const std::string words = " " + upperCase(reader.rest()) + " ";
    qresync_ = qresync_ || words.find(" QRESYNC ") != std::string::npos;
  } else if (selected_) {
    if (sameKeyword(name, "EXISTS")) {
      selected_->exists = number;
    } else if (sameKeyword(name, "EXPUNGE")) {
      selected_->exists -= selected_->exists > 0 ? 1 : 0;
    } else if (sameKeyword(name, "VANISHED") && reader.peek() != '(') {
      std::vector<Range> ranges;
      std::uint64_t count = 0;
      if (reader.sequenceSet(&ranges)) {
        for (const Range& range : ranges) {
          count += range.length + 1;
        }
      }
      selected_->exists -=
          static_cast<std::uint32_t>(std::min<std::uint64_t>(count, selected_->exists));
    }
  }
  if (reader.hasFailed()) {
    noteProtocolError();
  }
}

bool Connection::startCompression() {
  const std::string pending(lines_.buffered());
  lines_.clear();
  return stream_.startCompression(pending);
}

ErrorCode Connection::error() const {
  const ErrorCode error = stream_.error();
  if (error == ErrorNone) {
    return open_ ? ErrorNone : ErrorConnection;
  }
  if (error != ErrorConnection || idleEnd_) {
    return error;
  }
  return bye_ ? ErrorServerClosed : protocolError_ ? ErrorParse : error;
}

void Connection::selecting(std::string name) {
  selected_ = SelectedFolder();
  selected_->name = std::move(name);
}

void Connection::sawUid(std::uint32_t uid) {
  if (selected_ && uid >= selected_->uidNext && uid != UINT32_MAX) {
    selected_->uidNext = uid + 1;
  }
}

std::uint32_t Connection::appended(const std::string& folder, std::string_view answer) {
  WireReader line(answer);
  std::string_view tag;
  std::string_view word;
  std::string code;
  std::string arguments;
  if (!selected_ || selected_->name != folder || !line.atom(&tag) || tag == "*" || !line.space() ||
      !line.atom(&word) || !sameKeyword(word, "OK") || !line.space()) {
    return 0;
  }
  splitCode(line.rest(), &code, &arguments);
  WireReader reader(arguments);
  std::uint32_t validity = 0;
  std::uint32_t uid = 0;
  const bool told = code == "APPENDUID" && reader.number(&validity) && reader.space() &&
                    reader.number(&uid) && reader.atEnd();
  // In another folder of that name the numbers mean nothing; what is known of this one is stale.
  if (!told || validity != selected_->uidValidity) {
    return 0;
  }
  selected_->appendedIsNews = uid >= selected_->uidNext && uid != UINT32_MAX;
  selected_->afterAppended = selected_->appendedIsNews ? uid + 1 : 0;
  return uid;
}

bool Connection::takeAppended(const std::string& folder) {
  if (!selected_ || selected_->name != folder || !isAlive()) {
    return false;
  }
  return std::exchange(selected_->appendedIsNews, false);
}

}  // namespace brennox::imap
