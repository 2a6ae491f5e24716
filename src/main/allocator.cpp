// The allocator of the process, for deep-bound code.
//
// Deep binding lets this object and the libraries it brings find libc's allocator before one that
// was preloaded into the process (jemalloc, tcmalloc). Memory that crosses the edge, such as what
// strdup returns, would then be freed by the wrong one. These functions are found first and hand on
// to the allocator that the rest of the process uses.

#include <dlfcn.h>

#include <cstddef>

namespace {

// From the program's own scope, which this object is not part of.
template <class Function>
Function* OfProcess(const char* name) {
  return reinterpret_cast<Function*>(dlsym(dlopen(nullptr, RTLD_LAZY), name));
}

}  // namespace

#define BRENNOX_ALLOCATOR extern "C" __attribute__((visibility("default")))

BRENNOX_ALLOCATOR void* malloc(std::size_t size) {
  static const auto function = OfProcess<void*(std::size_t)>("malloc");
  return function(size);
}

BRENNOX_ALLOCATOR void free(void* block) {
  static const auto function = OfProcess<void(void*)>("free");
  function(block);
}

BRENNOX_ALLOCATOR void* calloc(std::size_t count, std::size_t size) {
  static const auto function = OfProcess<void*(std::size_t, std::size_t)>("calloc");
  return function(count, size);
}

BRENNOX_ALLOCATOR void* realloc(void* block, std::size_t size) {
  static const auto function = OfProcess<void*(void*, std::size_t)>("realloc");
  return function(block, size);
}

BRENNOX_ALLOCATOR int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  static const auto function = OfProcess<int(void**, std::size_t, std::size_t)>("posix_memalign");
  return function(block, alignment, size);
}

BRENNOX_ALLOCATOR void* aligned_alloc(std::size_t alignment, std::size_t size) {
  static const auto function = OfProcess<void*(std::size_t, std::size_t)>("aligned_alloc");
  return function(alignment, size);
}

BRENNOX_ALLOCATOR void* memalign(std::size_t alignment, std::size_t size) {
  static const auto function = OfProcess<void*(std::size_t, std::size_t)>("memalign");
  return function(alignment, size);
}

BRENNOX_ALLOCATOR std::size_t malloc_usable_size(void* block) {
  static const auto function = OfProcess<std::size_t(void*)>("malloc_usable_size");
  return function(block);
}
