// Registers the module with Node.js and opens its implementation, which lies beside this file.
//
// Node.js carries an OpenSSL of its own and exports its symbols. The dynamic linker lets them take
// the place of the system's inside every library that an addon brings along, libcurl and libssl
// included, and GOST cryptography then cannot work. The implementation is therefore opened with
// RTLD_DEEPBIND, so that it and its libraries find each other first. This file needs no OpenSSL and
// no C++ library and stays outside.

#include <dlfcn.h>
#include <limits.h>
#include <node_api.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

constexpr char kImplementationFile[] = "velkor_brennox2_impl.so";
constexpr char kInitFunction[] = "velkor_brennox2_init";

using InitFunction = napi_value (*)(napi_env, napi_value);

struct Implementation {
  InitFunction init = nullptr;
  std::string error;
};

// The Debian packages of the shared libraries that the implementation needs.
struct Package {
  std::string_view library;
  std::string_view package;
};
constexpr Package kPackages[] = {
    {"libcurl.so.4", "libcurl4"},   {"libssl.so.3", "libssl3"},
    {"libcrypto.so.3", "libssl3"},  {"libicui18n.so.72", "libicu72"},
    {"libicuuc.so.72", "libicu72"}, {"libicudata.so.72", "libicu72"},
    {"libgumbo.so.1", "libgumbo1"}, {"libgsasl.so.18", "libgsasl18"},
    {"libz.so.1", "zlib1g"},
};

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// `reason` is the dynamic linker's: "libgumbo.so.1: cannot open shared object file: ...".
std::string Explain(const std::string& file, const std::string& reason) {
  std::string text = "velkor_brennox2: cannot open " + file + ": " + reason + ".";
  for (const Package& entry : kPackages) {
    if (StartsWith(reason, entry.library)) {
      text += " Install the package that holds it: apt-get install " + std::string(entry.package);
      return text;
    }
  }
  if (reason.find("cannot open shared object file") != std::string::npos) {
    text += " Install that library, or build the module from its sources on this system";
  } else if (reason.find("version `") != std::string::npos) {
    text +=
        " This system's libraries are too old or of another kind; build the module on this system";
  }
  return text + " (Linux with glibc is supported, musl is not)";
}

std::string FolderOfThisFile() {
  Dl_info info;
  char resolved[PATH_MAX];
  if (dladdr(reinterpret_cast<void*>(&FolderOfThisFile), &info) == 0 || info.dli_fname == nullptr ||
      realpath(info.dli_fname, resolved) == nullptr) {
    return {};
  }
  const std::string_view path = resolved;
  return std::string(path.substr(0, path.rfind('/') + 1));
}

// Whether the program that carries Node-API also carries OpenSSL (all but distributions' own builds
// do).
bool HostCarriesOpenSSL() {
  void* const program = dlopen(nullptr, RTLD_LAZY);
  void* const openssl = dlsym(program, "CRYPTO_malloc");
  Dl_info opensslInfo;
  Dl_info nodeInfo;
  return openssl != nullptr && dladdr(openssl, &opensslInfo) != 0 &&
         dladdr(reinterpret_cast<void*>(&napi_module_register), &nodeInfo) != 0 &&
         opensslInfo.dli_fbase == nodeInfo.dli_fbase;
}

// When another addon has brought the system's libcrypto without deep binding, its insides are
// already bound to the OpenSSL of Node.js. A deep-bound user of it would then mix the two, which
// crashes.
bool MayBindDeeply() {
#if BRENNOX_DEEPBIND
  const bool isLoaded = dlopen("libcrypto.so.3", RTLD_LAZY | RTLD_NOLOAD) != nullptr;
  return !(isLoaded && HostCarriesOpenSSL());
#else
  return false;
#endif
}

Implementation OpenImplementation() {
  Implementation result;
  const std::string file = FolderOfThisFile() + kImplementationFile;
  int flags = RTLD_NOW | RTLD_LOCAL;
  if (MayBindDeeply()) {
    flags |= RTLD_DEEPBIND;
  }
  // Never closed.
  void* const library = dlopen(file.c_str(), flags);
  if (library == nullptr) {
    result.error = Explain(file, dlerror());
    return result;
  }
  result.init = reinterpret_cast<InitFunction>(dlsym(library, kInitFunction));
  if (result.init == nullptr) {
    result.error = Explain(file, dlerror());
  }
  return result;
}

napi_value Register(napi_env env, napi_value exports) {
  // Once for the process; other environments wait for the first and then share it.
  static const Implementation implementation = OpenImplementation();
  if (implementation.init == nullptr) {
    napi_throw_error(env, "ERR_DLOPEN_FAILED", implementation.error.c_str());
    return nullptr;
  }
  return implementation.init(env, exports);
}

napi_module g_module = {NAPI_MODULE_VERSION, 0,       __FILE__, Register,
                        "velkor_brennox2",   nullptr, {nullptr}};

struct Registrar {
  Registrar() { napi_module_register(&g_module); }
} g_registrar;

}  // namespace

// The record serves the first load of the process. Where the file is mapped already, no initialiser
// runs and Node.js asks for this symbol instead.
extern "C" __attribute__((visibility("default"))) napi_value napi_register_module_v1(
    napi_env env, napi_value exports) {
  return Register(env, exports);
}
