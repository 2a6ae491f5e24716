// For tests: files that only their owner may open, and files that others may open, too.
#pragma once

#include <aclapi.h>

#include <cstddef>
#include <filesystem>
#include <vector>

#include "platform/win32/windows.h"

namespace brennox::platform {

// Lets the owner do everything, and everybody else what `others` says (0, FILE_GENERIC_READ, ...).
inline bool setAccess(const std::filesystem::path& path, DWORD others) {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
    return false;
  }
  DWORD length = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &length);
  std::vector<std::byte> user(length);
  const bool known = GetTokenInformation(token, TokenUser, user.data(), length, &length) != FALSE;
  CloseHandle(token);
  std::byte everybody[SECURITY_MAX_SID_SIZE];
  DWORD everybodyLength = sizeof everybody;
  if (!known || CreateWellKnownSid(WinWorldSid, nullptr, everybody, &everybodyLength) == FALSE) {
    return false;
  }
  EXPLICIT_ACCESSW entries[2] = {};
  for (EXPLICIT_ACCESSW& entry : entries) {
    entry.grfAccessMode = SET_ACCESS;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
  }
  entries[0].grfAccessPermissions = FILE_ALL_ACCESS;
  entries[0].Trustee.ptstrName =
      static_cast<LPWSTR>(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
  entries[1].grfAccessPermissions = others;
  entries[1].Trustee.ptstrName = reinterpret_cast<LPWSTR>(everybody);
  PACL list = nullptr;
  if (SetEntriesInAclW(others == 0 ? 1 : 2, entries, nullptr, &list) != ERROR_SUCCESS) {
    return false;
  }
  // Nothing is inherited. (Under wine the functions that care for inheritance add to the list.)
  SECURITY_DESCRIPTOR descriptor{};
  const HANDLE file =
      CreateFileW(path.c_str(), WRITE_DAC, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  const bool set =
      InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) != FALSE &&
      SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) != FALSE &&
      SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) != FALSE &&
      SetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, &descriptor) != FALSE;
  CloseHandle(file);
  LocalFree(list);
  return set;
}

}  // namespace brennox::platform
