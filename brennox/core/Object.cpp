#include <brennox/AutoreleasePool.h>
#include <brennox/Object.h>
#include <brennox/String.h>

#include <cstdint>
#include <cstdio>
#include <functional>

#include "core/object_storage.h"

namespace brennox {

Object::~Object() = default;

void* Object::operator new(std::size_t size) {
  return allocateObject(size);
}

void Object::operator delete(void* object, std::size_t size) noexcept {
  freeObject(object, size);
}

Object* Object::autorelease() {
  AutoreleasePool::autorelease(this);
  return this;
}

String* Object::description() {
  char text[96];
  const int length =
      std::snprintf(text, sizeof text, "<%s:%p>", className(), static_cast<void*>(this));
  return String::stringWithUTF8Characters(text, static_cast<std::size_t>(length));
}

Object* Object::copy() {
  return nullptr;
}

bool Object::isEqual(Object* other) {
  return this == other;
}

std::size_t Object::hash() {
  return std::hash<const void*>()(this);
}

}  // namespace brennox
