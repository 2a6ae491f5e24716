#include "platform/win32/access.h"

#include <aclapi.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "platform/win32/Handle.h"

namespace brennox::platform {
namespace {

constexpr DWORD kMayWrite = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | GENERIC_WRITE |
                            GENERIC_ALL | WRITE_DAC | WRITE_OWNER;
constexpr DWORD kMayReadOrWrite = kMayWrite | FILE_READ_DATA | GENERIC_READ;

constexpr std::array<WELL_KNOWN_SID_TYPE, 4> kNobodyElse = {
    WinLocalSystemSid, WinBuiltinAdministratorsSid, WinCreatorOwnerSid, WinCreatorOwnerRightsSid};
constexpr std::array<WELL_KNOWN_SID_TYPE, 8> kAnybody = {
    WinWorldSid,     WinAuthenticatedUserSid, WinBuiltinUsersSid, WinBuiltinGuestsSid,
    WinAnonymousSid, WinInteractiveSid,       WinNetworkSid,      WinLocalSid};

template <std::size_t kCount>
bool isOneOf(PSID who, const std::array<WELL_KNOWN_SID_TYPE, kCount>& kinds) {
  return std::any_of(kinds.begin(), kinds.end(), [who](WELL_KNOWN_SID_TYPE kind) {
    return IsWellKnownSid(who, kind) != FALSE;
  });
}

// An answer about the process's user, as the system gives it; empty when it gives none.
std::vector<std::byte> aboutUser(TOKEN_INFORMATION_CLASS kind) {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
    return {};
  }
  const Handle token(opened);
  DWORD length = 0;
  GetTokenInformation(token.get(), kind, nullptr, 0, &length);
  std::vector<std::byte> answer(length);
  if (GetTokenInformation(token.get(), kind, answer.data(), length, &length) == FALSE) {
    return {};
  }
  return answer;
}

class User {
 public:
  User() : user_(aboutUser(TokenUser)), owner_(aboutUser(TokenOwner)) {}

  bool is(PSID who) const {
    return !user_.empty() &&
           EqualSid(who, reinterpret_cast<const TOKEN_USER*>(user_.data())->User.Sid) != FALSE;
  }
  // What an administrator makes belongs to the administrators, if the system is set so.
  bool owns(PSID owner) const {
    return is(owner) ||
           (!owner_.empty() &&
            EqualSid(owner, reinterpret_cast<const TOKEN_OWNER*>(owner_.data())->Owner) != FALSE);
  }

 private:
  std::vector<std::byte> user_;
  std::vector<std::byte> owner_;
};

}  // namespace

Access accessOf(HANDLE file) {
  Access access;
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                      &owner, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
    return access;
  }
  const User user;
  access.isOwn = owner != nullptr && user.owns(owner);
  // No list at all allows everything to everybody.
  if (list != nullptr) {
    access.isOpenToOthers = false;
    access.isWritableByAnybody = false;
    for (DWORD i = 0; i < list->AceCount; ++i) {
      void* entry = nullptr;
      if (GetAce(list, i, &entry) == FALSE) {
        continue;
      }
      const auto* const head = static_cast<const ACE_HEADER*>(entry);
      // Of the kinds of entries that allow something, files have this one only, but for entries
      // with conditions. Nobody can say beforehand whom those let in.
      const bool isConditional = head->AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
      if ((head->AceType != ACCESS_ALLOWED_ACE_TYPE && !isConditional) ||
          (head->AceFlags & INHERIT_ONLY_ACE) != 0) {
        continue;
      }
      auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
      const PSID who = &allowed->SidStart;
      const bool isOther = !user.is(who) && !isOneOf(who, kNobodyElse);
      if (isOther && (allowed->Mask & kMayReadOrWrite) != 0) {
        access.isOpenToOthers = true;
      }
      if (isOneOf(who, kAnybody) && (allowed->Mask & kMayWrite) != 0) {
        access.isWritableByAnybody = true;
      }
    }
  }
  LocalFree(descriptor);
  return access;
}

}  // namespace brennox::platform
