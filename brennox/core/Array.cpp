#include <brennox/Array.h>
#include <brennox/String.h>

namespace brennox {

Array::Array(const Array* other) {
  if (other != nullptr) {
    items_ = other->items_;
  }
}

Array* Array::array() {
  return makeAutoreleased<Array>();
}

Array* Array::arrayWithObject(Object* object) {
  Array* const result = array();
  result->addObject(object);
  return result;
}

Object* Array::objectAtIndex(unsigned int index) const noexcept {
  return index < items_.size() ? items_[index].get() : nullptr;
}

Object* Array::lastObject() const noexcept {
  return items_.empty() ? nullptr : items_.back().get();
}

bool Array::containsObject(Object* object) const {
  for (const Ref<Object>& item : items_) {
    if (item->isEqual(object)) {
      return true;
    }
  }
  return false;
}

void Array::addObject(Object* object) {
  if (object != nullptr) {
    items_.emplace_back(object);
  }
}

void Array::addObjectsFromArray(const Array* other) {
  if (other != nullptr) {
    // By index: `other` may be this array.
    const std::size_t count = other->items_.size();
    items_.reserve(items_.size() + count);
    for (std::size_t i = 0; i < count; ++i) {
      items_.push_back(other->items_[i]);
    }
  }
}

void Array::insertObject(unsigned int index, Object* object) {
  if (object != nullptr && index <= items_.size()) {
    items_.emplace(items_.begin() + index, object);
  }
}

void Array::replaceObject(unsigned int index, Object* object) {
  if (object != nullptr && index < items_.size()) {
    items_[index] = Ref<Object>(object);
  }
}

void Array::removeObjectAtIndex(unsigned int index) {
  if (index < items_.size()) {
    items_.erase(items_.begin() + index);
  }
}

void Array::removeLastObject() {
  if (!items_.empty()) {
    items_.pop_back();
  }
}

void Array::removeAllObjects() {
  items_.clear();
}

String* Array::description() {
  std::string text = "[";
  for (const Ref<Object>& item : items_) {
    if (text.size() > 1) {
      text += ",";
    }
    text += textOf(item->description());
  }
  text += "]";
  return makeAutoreleased<String>(std::move(text));
}

Object* Array::copy() {
  return makeAutoreleased<Array>(static_cast<const Array*>(this));
}

bool Array::isEqual(Object* other) {
  const auto* array = dynamic_cast<Array*>(other);
  if (array == nullptr || array->items_.size() != items_.size()) {
    return false;
  }
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (!items_[i]->isEqual(array->items_[i].get())) {
      return false;
    }
  }
  return true;
}

std::size_t Array::hash() {
  std::size_t result = items_.size();
  for (const Ref<Object>& item : items_) {
    result = result * 31 + item->hash();
  }
  return result;
}

}  // namespace brennox
