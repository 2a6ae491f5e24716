// The numbers of the mail protocols that callers set and read.
#pragma once

#include <cstdint>

namespace brennox {

enum ConnectionType : int {
  ConnectionTypeClear = 1,
  ConnectionTypeStartTLS = 2,
  ConnectionTypeTLS = 4,
};

// Bits; 0 takes the best that the server offers.
enum AuthType : int {
  AuthTypeSASLNone = 0,
  AuthTypeSASLCRAMMD5 = 1,
  AuthTypeSASLPlain = 2,
  AuthTypeSASLGSSAPI = 4,
  AuthTypeSASLDIGESTMD5 = 8,
  AuthTypeSASLLogin = 16,
  AuthTypeSASLSRP = 32,
  AuthTypeSASLNTLM = 64,
  AuthTypeSASLKerberosV4 = 128,
  // XOAUTH2, or OAUTHBEARER (RFC 7628) where the server offers that.
  AuthTypeXOAuth2 = 256,
};

// Bits of a message's flags (RFC 9051 section 2.3.2 and registered keywords).
enum MessageFlag : int {
  MessageFlagNone = 0,
  MessageFlagSeen = 1,
  MessageFlagAnswered = 2,
  MessageFlagFlagged = 4,
  MessageFlagDeleted = 8,
  MessageFlagDraft = 16,
  MessageFlagMDNSent = 32,
  MessageFlagForwarded = 64,
  MessageFlagSubmitPending = 128,
  MessageFlagSubmitted = 256,
};

enum IMAPStoreFlagsRequestKind : int {
  IMAPStoreFlagsRequestKindAdd = 0,
  IMAPStoreFlagsRequestKindRemove = 1,
  IMAPStoreFlagsRequestKindSet = 2,
};

// Bits of a folder's attributes (RFC 3501 section 7.2.2, RFC 6154).
enum IMAPFolderFlag : int {
  IMAPFolderFlagNone = 0,
  IMAPFolderFlagMarked = 1,
  IMAPFolderFlagUnmarked = 2,
  IMAPFolderFlagNoSelect = 4,
  IMAPFolderFlagNoInferiors = 8,
  IMAPFolderFlagInbox = 16,
  IMAPFolderFlagSentMail = 32,
  IMAPFolderFlagStarred = 64,
  IMAPFolderFlagAllMail = 128,
  IMAPFolderFlagTrash = 256,
  IMAPFolderFlagDrafts = 512,
  IMAPFolderFlagSpam = 1024,
  IMAPFolderFlagImportant = 2048,
  IMAPFolderFlagArchive = 4096,
};

// Bits: what a fetch of messages asks for.
enum IMAPMessagesRequestKind : int {
  IMAPMessagesRequestKindUid = 0,
  IMAPMessagesRequestKindFlags = 1,
  IMAPMessagesRequestKindHeaders = 2,
  IMAPMessagesRequestKindStructure = 4,
  IMAPMessagesRequestKindInternalDate = 8,
  IMAPMessagesRequestKindFullHeaders = 16,
  IMAPMessagesRequestKindHeaderSubject = 32,
  IMAPMessagesRequestKindSize = 64,
};

// Indexes into the set of a server's capabilities. 10, 13 and 37 are fixed.
enum IMAPCapability : int {
  IMAPCapabilityACL = 0,
  IMAPCapabilityBinary = 1,
  IMAPCapabilityCatenate = 2,
  IMAPCapabilityChildren = 3,
  IMAPCapabilityCompressDeflate = 4,
  IMAPCapabilityCondstore = 5,
  IMAPCapabilityEnable = 6,
  IMAPCapabilityIdle = 7,
  IMAPCapabilityId = 8,
  IMAPCapabilityLiteralPlus = 9,
  IMAPCapabilityMove = 10,
  IMAPCapabilityMultiAppend = 11,
  IMAPCapabilityNamespace = 12,
  IMAPCapabilityQResync = 13,
  IMAPCapabilityQuota = 14,
  IMAPCapabilitySort = 15,
  IMAPCapabilityStartTLS = 16,
  IMAPCapabilityThreadOrderedSubject = 17,
  IMAPCapabilityThreadReferences = 18,
  IMAPCapabilityUIDPlus = 19,
  IMAPCapabilityUnselect = 20,
  IMAPCapabilityXList = 21,
  IMAPCapabilityAuthAnonymous = 22,
  IMAPCapabilityAuthCRAMMD5 = 23,
  IMAPCapabilityAuthDigestMD5 = 24,
  IMAPCapabilityAuthExternal = 25,
  IMAPCapabilityAuthGSSAPI = 26,
  IMAPCapabilityAuthLogin = 27,
  IMAPCapabilityAuthNTLM = 28,
  IMAPCapabilityAuthPlain = 29,
  IMAPCapabilityAuthSRP = 30,
  IMAPCapabilityXOAuth2 = 31,
  IMAPCapabilityAuthOAuthBearer = 32,
  IMAPCapabilityAuthScramSHA1 = 33,
  IMAPCapabilityAuthScramSHA256 = 34,
  IMAPCapabilityLoginDisabled = 35,
  IMAPCapabilitySpecialUse = 36,
  IMAPCapabilityCreateSpecialUse = 37,
  IMAPCapabilityListExtended = 38,
  IMAPCapabilityListStatus = 39,
  IMAPCapabilityESearch = 40,
  IMAPCapabilityLiteralMinus = 41,
  IMAPCapabilitySASLIR = 42,
  IMAPCapabilityUTF8Accept = 43,
  IMAPCapabilityIMAP4rev1 = 44,
  IMAPCapabilityIMAP4rev2 = 45,
  IMAPCapabilityAppendLimit = 46,
  IMAPCapabilityObjectId = 47,
};

}  // namespace brennox
