// Keeps autoreleased objects alive until the end of a scope.
#pragma once

#include <brennox/Export.h>

#include <cstddef>

namespace brennox {

class Object;

// Lives on the stack; pools of one thread nest and end in reverse order. Objects autoreleased on
// this thread while the pool is the innermost one are released by its destructor.
class BRENNOX_EXPORT AutoreleasePool {
 public:
  AutoreleasePool();
  ~AutoreleasePool();
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

  // Gives one reference of `object` to the innermost pool of this thread.
  static void autorelease(Object* object);

 private:
  std::size_t mark_;
};

}  // namespace brennox
