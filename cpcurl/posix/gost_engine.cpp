// Loads the GOST engine so that it works on the same OpenSSL as we do.
//
// A host program may carry an OpenSSL of its own (Node.js does) and export its symbols. This code
// and libcurl are then bound to the system's OpenSSL by deep binding, and the engine's shared
// object has to be opened the same way before OpenSSL opens it: left to OpenSSL it would be bound
// to the host's copy, and the two would pass each other objects of different layouts.

// The engine interface is deprecated since OpenSSL 3.0 and has no successor that Debian's GOST code
// supports.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "gost_engine.h"

#include <dlfcn.h>
#include <openssl/crypto.h>
#include <openssl/engine.h>
#include <openssl/err.h>

#include <mutex>
#include <string>
#include <string_view>

namespace cpcurl {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kDeepBindingWorks = false;  // AddressSanitizer refuses it
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kDeepBindingWorks = false;
#else
constexpr bool kDeepBindingWorks = true;
#endif
#else
constexpr bool kDeepBindingWorks = true;
#endif

constexpr char kLibcrypto[] = "libcrypto.so.3";
constexpr char kEngineFile[] = "/gost.so";

// What OpenSSL itself calls its engines' folder: `ENGINESDIR: "/usr/lib/..."`.
std::string folderOfThisOpenSSL() {
  const std::string_view text = OpenSSL_version(OPENSSL_ENGINES_DIR);
  const std::size_t first = text.find('"');
  const std::size_t last = text.rfind('"');
  if (first == std::string_view::npos || last <= first) {
    return {};
  }
  return std::string(text.substr(first + 1, last - first - 1));
}

// Beside the system's libcrypto; that is where the engine lies when the host's OpenSSL names
// another place.
std::string folderOfSystemOpenSSL(void* libcrypto) {
  Dl_info info;
  void* symbol = libcrypto ? dlsym(libcrypto, "OPENSSL_init_crypto") : nullptr;
  if (!symbol || dladdr(symbol, &info) == 0 || !info.dli_fname) {
    return {};
  }
  const std::string_view file = info.dli_fname;
  const std::size_t slash = file.rfind('/');
  if (slash == std::string_view::npos) {
    return {};
  }
  return std::string(file.substr(0, slash)) + "/engines-3";
}

// True when our OpenSSL is the system's, although the program brings another one.
bool isDeepBound(void* libcrypto) {
  if (!libcrypto) {
    return false;
  }
  void* const ours = reinterpret_cast<void*>(&ENGINE_by_id);
  void* const systems = dlsym(libcrypto, "ENGINE_by_id");
  // Not RTLD_DEFAULT: from deep-bound code that finds our own first.
  void* const program = dlopen(nullptr, RTLD_NOW);
  void* const programs = program ? dlsym(program, "ENGINE_by_id") : nullptr;
  return ours == systems && programs && programs != ours;
}

bool makeDefault(const std::string& file) {
  ENGINE* loader = ENGINE_by_id("dynamic");
  if (!loader) {
    return false;
  }
  // LIST_ADD 1: known to everybody who asks for "gost" by its name later.
  const bool loaded = ENGINE_ctrl_cmd_string(loader, "SO_PATH", file.c_str(), 0) == 1 &&
                      ENGINE_ctrl_cmd_string(loader, "ID", "gost", 0) == 1 &&
                      ENGINE_ctrl_cmd_string(loader, "LIST_ADD", "1", 0) == 1 &&
                      ENGINE_ctrl_cmd_string(loader, "LOAD", nullptr, 0) == 1;
  const bool usable = loaded && ENGINE_init(loader) == 1;
  const bool isDefault = usable && ENGINE_set_default(loader, ENGINE_METHOD_ALL) == 1;
  if (usable && !isDefault) {
    ENGINE_finish(loader);
  }
  // The functional reference stays for good when it is the default.
  ENGINE_free(loader);
  return isDefault;
}

bool load() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  ERR_set_mark();
  void* const libcrypto = dlopen(kLibcrypto, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  const bool deep = kDeepBindingWorks && isDeepBound(libcrypto);
  bool loaded = false;
  for (const std::string& folder : {folderOfThisOpenSSL(), folderOfSystemOpenSSL(libcrypto)}) {
    if (folder.empty()) {
      continue;
    }
    const std::string file = folder + kEngineFile;
    // Never closed: OpenSSL keeps pointers into it.
    if (!dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | (deep ? RTLD_DEEPBIND : 0))) {
      continue;
    }
    loaded = makeDefault(file);
    break;
  }
  ERR_pop_to_mark();
  return loaded;
}

}  // namespace

bool loadGostEngine() noexcept {
  static std::once_flag once;
  static bool loaded = false;
  try {
    std::call_once(once, [] { loaded = load(); });
  } catch (...) {
    return false;
  }
  return loaded;
}

}  // namespace cpcurl
