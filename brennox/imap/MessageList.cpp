#include "imap/MessageList.h"

#include <brennox/IMAPSession.h>

#include <algorithm>

namespace brennox::imap {
namespace {

constexpr unsigned int kMaxMessages = 20000000;
constexpr std::size_t kMaxVanishedRanges = 20000000;
// Telling of every message would cost more than reading it.
constexpr unsigned int kReportEvery = 100;
// No message has this UID or one beyond it.
constexpr std::uint64_t kMaxUid = 0xFFFFFFFE;

}  // namespace

MessageList::MessageList(Connection& connection, const FetchRequest& request)
    : connection_(connection), request_(request) {
  bare_->session = request.session;
}

bool MessageList::data(std::uint32_t number, std::string_view name, WireReader& reader) {
  if (sameKeyword(name, "FETCH")) {
    return fetched(number, reader);
  }
  if (request_.sync && sameKeyword(name, "VANISHED")) {
    const bool earlier = reader.peek() == '(';
    if (earlier) {
      readVanished(reader);
    }
    return earlier;
  }
  return false;
}

bool MessageList::isWanted(std::uint32_t key) const {
  return key != 0 && (request_.set == nullptr || request_.set->containsIndex(key));
}

bool MessageList::fetched(std::uint32_t number, WireReader& reader) {
  items_ = FetchItems();
  readFetchItems(reader, &items_);
  connection_.sawUid(items_.uid.value_or(0));
  const std::uint32_t key = request_.byUid ? items_.uid.value_or(0) : number;
  if (!isWanted(key)) {
    return false;
  }
  bool isNew = false;
  IMAPMessage* const message = messageFor(key, &isNew);
  if (message == nullptr) {
    return false;
  }
  message->setSequenceNumber(number);
  if (items_.uid) {
    message->setUid(*items_.uid);
  }
  if (items_.flags) {
    message->setFlags(*items_.flags);
    message->setOriginalFlags(*items_.flags);
  }
  if (items_.size) {
    message->setSize(*items_.size);
  }
  if (items_.modSeq) {
    message->setModSeqValue(*items_.modSeq);
  }
  std::string fields;
  for (const auto& [section, text] : items_.sections) {
    fields += text.nil ? std::string() : text.str();
  }
  const bool hasHeader = !items_.envelope.empty() || !fields.empty() || items_.internalDate != -1;
  if (hasHeader || !items_.structure.empty()) {
    Ref<FetchedText> text;
    const std::uint32_t offset =
        store_.add(items_.envelope, items_.structure, fields, items_.internalDate, &text);
    if (!worded_ || worded_->text.get() != text.get()) {
      worded_ = make<MessageDetails>();
      worded_->session = request_.session;
      worded_->text = text;
      worded_->headerIsInText = worded_->partsAreInText = true;
    }
    message->setFetched(worded_.get(), offset, hasHeader, !items_.structure.empty());
  }
  return isNew;
}

IMAPMessage* MessageList::messageFor(std::uint32_t key, bool* isNew) {
  if (ascending_ && key > lastKey_) {
    lastKey_ = key;
  } else {
    if (ascending_) {
      // Only now is a way back to the earlier ones needed.
      ascending_ = false;
      for (unsigned int i = 0; i < messages_->count(); ++i) {
        auto* const message = messages_->at<IMAPMessage>(i);
        positions_[request_.byUid ? message->uid() : message->sequenceNumber()] = i;
      }
    }
    const auto found = positions_.find(key);
    if (found != positions_.end()) {
      return messages_->at<IMAPMessage>(found->second);
    }
    positions_[key] = messages_->count();
  }
  if (messages_->count() >= kMaxMessages) {
    connection_.stream().fail(ErrorLimitExceeded);
    return nullptr;
  }
  *isNew = true;
  const Ref<IMAPMessage> message = make<IMAPMessage>();
  message->details_ = bare_;
  messages_->addObject(message.get());
  if (messages_->count() % kReportEvery == 0) {
    report();
  }
  return message.get();
}

void MessageList::readVanished(WireReader& reader) {
  std::vector<std::string_view> tags;
  std::vector<Range> ranges;
  if (!reader.flagList(&tags) || !reader.space() || !reader.sequenceSet(&ranges)) {
    return;
  }
  if (ranges.size() > kMaxVanishedRanges - gone_.size()) {
    connection_.stream().fail(ErrorLimitExceeded);
    return;
  }
  gone_.insert(gone_.end(), ranges.begin(), ranges.end());
}

bool MessageList::hasUnknownVanished() const {
  const SelectedFolder* const folder = connection_.selected();
  return folder != nullptr && std::any_of(gone_.begin(), gone_.end(), [folder](const Range& range) {
           return RangeRightBound(range) >= folder->uidNext;
         });
}

// A server may name every UID that has no message, up to the largest there is, and in any order.
// Callers count through the set, so it ends where the folder's UIDs end.
void MessageList::sumUpVanished() {
  const SelectedFolder* const folder = connection_.selected();
  const std::uint64_t end =
      folder != nullptr && folder->uidNext > 1 ? folder->uidNext - 1 : kMaxUid;
  std::sort(gone_.begin(), gone_.end(),
            [](const Range& a, const Range& b) { return a.location < b.location; });
  for (const Range& range : gone_) {
    const std::uint64_t last = std::min(RangeRightBound(range), std::min(end, kMaxUid));
    if (range.location <= last) {
      vanished_->addRange(RangeMake(range.location, last - range.location));
    }
  }
  gone_.clear();
}

void MessageList::report() {
  if (request_.progress != nullptr) {
    const SelectedFolder* const folder = connection_.selected();
    request_.progress->itemsProgress(request_.session, messages_->count(),
                                     folder == nullptr ? 0 : folder->exists);
  }
}

void MessageList::finish() {
  sumUpVanished();
  if (messages_->count() % kReportEvery != 0) {
    report();
  }
}

}  // namespace brennox::imap
