// A server's side of a conversation, in pieces: nothing crashes, and however the bytes are cut, the
// message that comes out is the same; each message of a listing is found by its number.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "pop/Listing.h"
#include "pop/responses.h"
#include "pop/wire.h"

namespace {

class Pieces final : public brennox::net::ByteStream {
 public:
  Pieces(std::string_view bytes, std::size_t piece) : bytes_(bytes), piece_(piece) {}
  std::size_t read(char* out, std::size_t size) override {
    const std::size_t count = std::min({size, piece_, bytes_.size()});
    if (count == 0 || error_ != brennox::ErrorNone) {
      fail(brennox::ErrorConnection);
      return 0;
    }
    bytes_.copy(out, count);
    bytes_.remove_prefix(count);
    return count;
  }
  bool write(std::string_view) override { return true; }

 private:
  std::string_view bytes_;
  std::size_t piece_;
};

brennox::Ref<brennox::Data> messageOf(std::string_view bytes, std::size_t piece) {
  Pieces stream(bytes, piece);
  brennox::pop::Wire wire(stream);
  brennox::pop::Capabilities capabilities;
  brennox::pop::Listing listing;
  if (wire.status() == brennox::pop::Wire::Status::kOk) {
    brennox::pop::apopTimestamp(wire.text());
    brennox::pop::errorOf(wire.text(), brennox::ErrorFetch);
    return wire.multiLine(brennox::pop::number(wire.text()).value_or(0) % 4096, 1U << 20, nullptr);
  }
  wire.lines([&](std::string_view line) {
    brennox::pop::addCapability(line, &capabilities);
    return listing.addUid(line) && listing.addSize(line);
  });
  for (const brennox::pop::Entry& entry : listing.entries()) {
    if (listing.find(entry.index) != &entry) {
      std::abort();
    }
  }
  return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto whole = messageOf(bytes, size);
  const auto cut = messageOf(bytes, 1);
  if (static_cast<bool>(whole) != static_cast<bool>(cut) ||
      (whole && whole->view() != cut->view())) {
    std::abort();
  }
  return 0;
}
