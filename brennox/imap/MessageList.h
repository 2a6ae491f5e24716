// Collects the messages of a listing out of the FETCH responses.
#pragma once

#include <brennox/Array.h>
#include <brennox/IMAPMessage.h>
#include <brennox/IndexSet.h>
#include <brennox/Ref.h>

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "imap/MessageDetails.h"
#include "imap/commands.h"
#include "imap/fetch_items.h"

namespace brennox::imap {

// A message may be told of in several responses, and messages that were not asked for may be told
// of too.
class MessageList final : public Handler {
 public:
  MessageList(Connection& connection, const FetchRequest& request);

  const Ref<Array>& messages() const noexcept { return messages_; }
  const Ref<IndexSet>& vanished() const noexcept { return vanished_; }
  // Whether a message vanished that is not known to have been there.
  bool hasUnknownVanished() const;
  // For a listing that has ended: sums up and tells the progress.
  void finish();

  bool data(std::uint32_t number, std::string_view name, WireReader& reader) override;

 private:
  // True when it was something new.
  bool fetched(std::uint32_t number, WireReader& reader);
  void readVanished(WireReader& reader);
  void sumUpVanished();
  IMAPMessage* messageFor(std::uint32_t key, bool* isNew);
  bool isWanted(std::uint32_t key) const;
  void report();

  Connection& connection_;
  const FetchRequest& request_;
  Ref<Array> messages_ = make<Array>();
  Ref<IndexSet> vanished_ = make<IndexSet>();
  // In the order in which the server tells of them.
  std::vector<Range> gone_;
  TextStore store_;
  // What the messages share: those of which nothing but numbers are known, and those whose words
  // are in the text that is being filled.
  Ref<MessageDetails> bare_ = make<MessageDetails>();
  Ref<MessageDetails> worded_;
  FetchItems items_;
  // The key of the last message while they come in ascending order, as nearly all servers send
  // them; the map is only filled when one does not.
  std::uint32_t lastKey_ = 0;
  bool ascending_ = true;
  std::unordered_map<std::uint32_t, unsigned int> positions_;
};

}  // namespace brennox::imap
