#include "imap/capabilities.h"

#include "imap/wire_reader.h"

namespace brennox::imap {
namespace {

constexpr std::size_t kMaxMechanisms = 64;

struct Row {
  std::string_view name;
  IMAPCapability capability;
};

constexpr Row kTable[] = {
    {"ACL", IMAPCapabilityACL},
    {"BINARY", IMAPCapabilityBinary},
    {"CATENATE", IMAPCapabilityCatenate},
    {"CHILDREN", IMAPCapabilityChildren},
    {"COMPRESS=DEFLATE", IMAPCapabilityCompressDeflate},
    {"CONDSTORE", IMAPCapabilityCondstore},
    {"ENABLE", IMAPCapabilityEnable},
    {"IDLE", IMAPCapabilityIdle},
    {"ID", IMAPCapabilityId},
    {"LITERAL+", IMAPCapabilityLiteralPlus},
    {"MOVE", IMAPCapabilityMove},
    {"MULTIAPPEND", IMAPCapabilityMultiAppend},
    {"NAMESPACE", IMAPCapabilityNamespace},
    {"QRESYNC", IMAPCapabilityQResync},
    {"QUOTA", IMAPCapabilityQuota},
    {"SORT", IMAPCapabilitySort},
    {"STARTTLS", IMAPCapabilityStartTLS},
    {"THREAD=ORDEREDSUBJECT", IMAPCapabilityThreadOrderedSubject},
    {"THREAD=REFERENCES", IMAPCapabilityThreadReferences},
    {"UIDPLUS", IMAPCapabilityUIDPlus},
    {"UNSELECT", IMAPCapabilityUnselect},
    {"XLIST", IMAPCapabilityXList},
    {"AUTH=ANONYMOUS", IMAPCapabilityAuthAnonymous},
    {"AUTH=CRAM-MD5", IMAPCapabilityAuthCRAMMD5},
    {"AUTH=DIGEST-MD5", IMAPCapabilityAuthDigestMD5},
    {"AUTH=EXTERNAL", IMAPCapabilityAuthExternal},
    {"AUTH=GSSAPI", IMAPCapabilityAuthGSSAPI},
    {"AUTH=LOGIN", IMAPCapabilityAuthLogin},
    {"AUTH=NTLM", IMAPCapabilityAuthNTLM},
    {"AUTH=PLAIN", IMAPCapabilityAuthPlain},
    {"AUTH=SRP", IMAPCapabilityAuthSRP},
    {"AUTH=XOAUTH2", IMAPCapabilityXOAuth2},
    {"XOAUTH2", IMAPCapabilityXOAuth2},
    {"AUTH=OAUTHBEARER", IMAPCapabilityAuthOAuthBearer},
    {"AUTH=SCRAM-SHA-1", IMAPCapabilityAuthScramSHA1},
    {"AUTH=SCRAM-SHA-256", IMAPCapabilityAuthScramSHA256},
    {"LOGINDISABLED", IMAPCapabilityLoginDisabled},
    {"SPECIAL-USE", IMAPCapabilitySpecialUse},
    {"CREATE-SPECIAL-USE", IMAPCapabilityCreateSpecialUse},
    {"LIST-EXTENDED", IMAPCapabilityListExtended},
    {"LIST-STATUS", IMAPCapabilityListStatus},
    {"ESEARCH", IMAPCapabilityESearch},
    {"LITERAL-", IMAPCapabilityLiteralMinus},
    {"SASL-IR", IMAPCapabilitySASLIR},
    {"UTF8=ACCEPT", IMAPCapabilityUTF8Accept},
    {"UTF8=ONLY", IMAPCapabilityUTF8Accept},
    {"IMAP4REV1", IMAPCapabilityIMAP4rev1},
    {"IMAP4REV2", IMAPCapabilityIMAP4rev2},
    {"APPENDLIMIT", IMAPCapabilityAppendLimit},
    {"OBJECTID", IMAPCapabilityObjectId},
};

// What IMAP4rev2 includes without naming it (RFC 9051 appendix E).
constexpr IMAPCapability kInRev2[] = {
    IMAPCapabilityNamespace, IMAPCapabilityUnselect,     IMAPCapabilityUIDPlus,
    IMAPCapabilityESearch,   IMAPCapabilityEnable,       IMAPCapabilityIdle,
    IMAPCapabilitySASLIR,    IMAPCapabilityListExtended, IMAPCapabilityListStatus,
    IMAPCapabilityMove,      IMAPCapabilityLiteralMinus, IMAPCapabilitySpecialUse,
};

}  // namespace

Capabilities Capabilities::parse(std::string_view words) {
  Capabilities result;
  const auto set = [&](IMAPCapability capability) {
    result.bits_.set(static_cast<std::size_t>(capability));
  };
  while (!words.empty()) {
    const std::size_t end = words.find(' ');
    const std::string_view word = words.substr(0, end);
    words = end == std::string_view::npos ? std::string_view() : words.substr(end + 1);
    // Limits may be attached: "APPENDLIMIT=35651584".
    const std::string_view bare = word.substr(0, word.find('='));
    for (const Row& row : kTable) {
      if (sameKeyword(word, row.name) ||
          (row.capability == IMAPCapabilityAppendLimit && sameKeyword(bare, row.name))) {
        set(row.capability);
        break;
      }
    }
    if (sameKeyword(word.substr(0, 5), "AUTH=") && result.mechanisms_.size() < kMaxMechanisms) {
      result.mechanisms_.push_back(upperCase(word.substr(5)));
    }
    if (sameKeyword(word, "XOAUTH2")) {
      result.mechanisms_.emplace_back("XOAUTH2");
    }
  }
  if (result.has(IMAPCapabilityIMAP4rev2)) {
    for (const IMAPCapability capability : kInRev2) {
      set(capability);
    }
  }
  // QRESYNC is CONDSTORE and more (RFC 7162 section 3.2).
  if (result.has(IMAPCapabilityQResync)) {
    set(IMAPCapabilityCondstore);
  }
  return result;
}

}  // namespace brennox::imap
