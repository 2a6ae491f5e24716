#include <brennox/Array.h>
#include <brennox/HashMap.h>
#include <brennox/String.h>

namespace brennox {

HashMap::HashMap(const HashMap* other) {
  if (other != nullptr) {
    items_ = other->items_;
  }
}

HashMap* HashMap::hashMap() {
  return makeAutoreleased<HashMap>();
}

Object* HashMap::objectForKey(Object* key) const {
  if (key == nullptr) {
    return nullptr;
  }
  const auto found = items_.find(Ref<Object>(key));
  return found == items_.end() ? nullptr : found->second.get();
}

void HashMap::setObjectForKey(Object* key, Object* value) {
  if (key != nullptr && value != nullptr) {
    items_.insert_or_assign(Ref<Object>(key), Ref<Object>(value));
  }
}

void HashMap::removeObjectForKey(Object* key) {
  if (key != nullptr) {
    items_.erase(Ref<Object>(key));
  }
}

void HashMap::removeAllObjects() {
  items_.clear();
}

Array* HashMap::allKeys() const {
  Array* const keys = Array::array();
  for (const auto& [key, value] : items_) {
    keys->addObject(key.get());
  }
  return keys;
}

Array* HashMap::allValues() const {
  Array* const values = Array::array();
  for (const auto& [key, value] : items_) {
    values->addObject(value.get());
  }
  return values;
}

String* HashMap::description() {
  std::string text = "{";
  for (const auto& [key, value] : items_) {
    if (text.size() > 1) {
      text += ",";
    }
    text += textOf(key->description());
    text += ":";
    text += textOf(value->description());
  }
  text += "}";
  return makeAutoreleased<String>(std::move(text));
}

Object* HashMap::copy() {
  return makeAutoreleased<HashMap>(static_cast<const HashMap*>(this));
}

bool HashMap::isEqual(Object* other) {
  const auto* map = dynamic_cast<HashMap*>(other);
  if (map == nullptr || map->items_.size() != items_.size()) {
    return false;
  }
  for (const auto& [key, value] : items_) {
    Object* const theirs = map->objectForKey(key.get());
    if (theirs == nullptr || !value->isEqual(theirs)) {
      return false;
    }
  }
  return true;
}

std::size_t HashMap::hash() {
  // Order-independent, since equal maps may iterate differently.
  std::size_t result = items_.size();
  for (const auto& [key, value] : items_) {
    result += key->hash() ^ (value->hash() * 31);
  }
  return result;
}

}  // namespace brennox
