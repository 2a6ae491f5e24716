// Owning handle on a library object: retains on copy, releases on destruction.
#pragma once

#include <brennox/Object.h>

#include <utility>

namespace brennox {

template <class T>
class Ref {
 public:
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}
  // Shares a borrowed pointer: retains it.
  Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) {
      object_->retain();
    }
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ~Ref() { reset(); }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  // Takes over the reference that the caller owns (`Ref<T>::adopt(new T)`).
  static Ref adopt(T* owned) noexcept {
    Ref ref;
    ref.object_ = owned;
    return ref;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // Gives the reference to the caller, who has to release it.
  T* leak() noexcept { return std::exchange(object_, nullptr); }

  // The object as an autoreleased pointer, for returning from public methods; null stays null.
  T* autoreleased() const {
    if (object_ != nullptr) {
      object_->retain();
      object_->autorelease();
    }
    return object_;
  }

  void reset() noexcept {
    if (T* object = std::exchange(object_, nullptr)) {
      object->release();
    }
  }

 private:
  T* object_ = nullptr;
};

// A new T owned by the returned handle.
template <class T, class... Args>
Ref<T> make(Args&&... args) {
  return Ref<T>::adopt(new T(std::forward<Args>(args)...));
}

// A new T owned by the innermost autorelease pool.
template <class T, class... Args>
T* makeAutoreleased(Args&&... args) {
  T* object = new T(std::forward<Args>(args)...);
  object->autorelease();
  return object;
}

}  // namespace brennox
