// CMS messages of every kind: their outer structure, and what the library does with them when the
// certificates are at hand.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "crypto/decrypt.h"
#include "crypto/outline.h"
#include "crypto/people_for_tests.h"
#include "crypto/verify.h"

using namespace brennox::crypto;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using testing::Kind;
  static const Trust* const trust = new Trust(testing::trustingAll());
  static const auto* const own = [] {
    auto* const keys = new std::vector<OwnCertificate>;
    for (const Kind kind : {Kind::kRsa, Kind::kEc, Kind::kGost256, Kind::kGost512}) {
      keys->push_back(testing::person(kind).own());
    }
    return keys;
  }();
  const std::string_view cms(reinterpret_cast<const char*>(bytes), size);
  VerifySettings settings;
  settings.now = 1'800'000'000;
  verifyOpaque(cms, *trust, settings);
  verifyDetached(cms, {"content"}, *trust, settings);
  decrypt(testing::blockOf(cms), *own);
  return 0;
}
