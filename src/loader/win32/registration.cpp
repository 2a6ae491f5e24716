// Registers the module with Node.js. On Windows no loader stands in front of it: every library is
// linked in, and a module binds to what it was linked with, whatever the program carries.
#include <node_api.h>
#include <windows.h>

extern "C" napi_value velkor_brennox2_init(napi_env env, napi_value exports);

namespace {

const int kInThisModule = 0;

// The module stays until the process ends: Node.js unloads it when the last worker thread that
// loaded it ends, and the library's threads may outlive that.
void stayLoaded() {
  HMODULE self = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&kInThisModule), &self);
}

napi_module g_module = {NAPI_MODULE_VERSION, 0,       __FILE__, velkor_brennox2_init,
                        "velkor_brennox2",   nullptr, {nullptr}};

struct Registrar {
  Registrar() {
    stayLoaded();
    napi_module_register(&g_module);
  }
} g_registrar;

}  // namespace

// The record serves the first load of the process. Where the file is mapped already, no initialiser
// runs and Node.js asks for this symbol instead.
extern "C" __declspec(dllexport) napi_value napi_register_module_v1(napi_env env,
                                                                    napi_value exports) {
  return velkor_brennox2_init(env, exports);
}
