// An ordered list of objects.
#pragma once

#include <brennox/Object.h>
#include <brennox/Ref.h>

#include <vector>

namespace brennox {

// Retains its elements. Null is never an element: adding it does nothing.
class BRENNOX_EXPORT Array : public Object {
 public:
  Array() = default;
  // A shallow copy; null reads as empty.
  explicit Array(const Array* other);

  static Array* array();
  static Array* arrayWithObject(Object* object);

  unsigned int count() const noexcept { return static_cast<unsigned int>(items_.size()); }
  // Borrowed; null when the index is out of range.
  Object* objectAtIndex(unsigned int index) const noexcept;
  template <class T>
  T* at(unsigned int index) const noexcept {
    return static_cast<T*>(objectAtIndex(index));
  }
  Object* lastObject() const noexcept;
  bool containsObject(Object* object) const;

  void addObject(Object* object);
  void addObjectsFromArray(const Array* other);
  void insertObject(unsigned int index, Object* object);
  void replaceObject(unsigned int index, Object* object);
  void removeObjectAtIndex(unsigned int index);
  void removeLastObject();
  void removeAllObjects();
  void reserve(unsigned int count) { items_.reserve(count); }

  std::vector<Ref<Object>>::const_iterator begin() const noexcept { return items_.begin(); }
  std::vector<Ref<Object>>::const_iterator end() const noexcept { return items_.end(); }

  String* description() override;
  // Shallow: the elements are shared.
  Object* copy() override;
  bool isEqual(Object* other) override;
  std::size_t hash() override;

 protected:
  const char* className() const override { return "Array"; }

 private:
  std::vector<Ref<Object>> items_;
};

}  // namespace brennox
