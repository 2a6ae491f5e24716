// Binds the functions of Node-API to the program that has loaded the module, whatever its file is
// called: a module that was linked to "node.exe" in the ordinary way only loads into a file of that
// name.
// In this order only.
// clang-format off
#include <windows.h>
#include <delayimp.h>
// clang-format on
#include <string.h>

namespace {

FARPROC WINAPI bindToHost(unsigned event, PDelayLoadInfo info) {
  if (event != dliNotePreLoadLibrary || _stricmp(info->szDll, "node.exe") != 0) {
    return nullptr;
  }
  // Programs that embed Node.js may keep it in a library.
  HMODULE host = GetModuleHandleW(L"libnode.dll");
  if (host == nullptr) {
    host = GetModuleHandleW(nullptr);
  }
  return reinterpret_cast<FARPROC>(host);
}

}  // namespace

// The name that the linker's helper looks for.
extern "C" PfnDliHook __pfnDliNotifyHook2;
PfnDliHook __pfnDliNotifyHook2 = &bindToHost;
