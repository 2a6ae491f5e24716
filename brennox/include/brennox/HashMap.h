// A map from object to object, by value of the keys.
#pragma once

#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <unordered_map>

namespace brennox {

class Array;

// Retains keys and values. Keys are compared with isEqual() and hash(). Null keys or values are
// ignored.
class BRENNOX_EXPORT HashMap : public Object {
 public:
  HashMap() = default;
  explicit HashMap(const HashMap* other);
  static HashMap* hashMap();

  unsigned int count() const noexcept { return static_cast<unsigned int>(items_.size()); }
  // Borrowed; null when absent.
  Object* objectForKey(Object* key) const;
  void setObjectForKey(Object* key, Object* value);
  void removeObjectForKey(Object* key);
  void removeAllObjects();

  // Autoreleased, in one order that is the same for both while the map is unchanged.
  Array* allKeys() const;
  Array* allValues() const;

  String* description() override;
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "HashMap"; }

 private:
  struct Hash {
    std::size_t operator()(const Ref<Object>& key) const { return key->hash(); }
  };
  struct Equal {
    bool operator()(const Ref<Object>& a, const Ref<Object>& b) const {
      return a->isEqual(b.get());
    }
  };
  std::unordered_map<Ref<Object>, Ref<Object>, Hash, Equal> items_;
};

}  // namespace brennox
