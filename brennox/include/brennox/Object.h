// The base of every library object: shared ownership by an atomic reference count.
#pragma once

#include <brennox/Export.h>

#include <atomic>
#include <cstddef>

namespace brennox {

class String;

// An object is born with one reference, which belongs to whoever wrote `new`. The last release()
// deletes it. Counts may be changed from any thread; everything else about an object is
// single-threaded unless its own header says otherwise.
class BRENNOX_EXPORT Object {
 public:
  Object() noexcept = default;
  virtual ~Object();
  static void* operator new(std::size_t size);  // from what its thread keeps of such sizes
  static void operator delete(void* object, std::size_t size) noexcept;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  Object* retain() noexcept {
    count_.fetch_add(1, std::memory_order_relaxed);
    return this;
  }
  void release() noexcept {
    // Nobody else can change the count of an object whose only reference is given back here.
    if (count_.load(std::memory_order_acquire) == 1 ||
        count_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }

  // Hands one reference to the calling thread's innermost AutoreleasePool, which releases it when
  // it ends. Without a pool the reference is never given back (a leak, not a crash).
  Object* autorelease();

  int retainCount() const noexcept { return count_.load(std::memory_order_relaxed); }

  // A readable one-line text for logs; autoreleased, never null.
  virtual String* description();

  // An independent copy, autoreleased; null for classes that cannot be copied.
  virtual Object* copy();

  // Equality and hash by value where a class has one, otherwise by identity.
  virtual bool isEqual(Object* other);
  virtual std::size_t hash();

 protected:
  // The class name that description() prints.
  virtual const char* className() const { return "Object"; }

 private:
  std::atomic<int> count_{1};
};

}  // namespace brennox
