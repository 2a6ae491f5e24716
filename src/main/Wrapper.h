// What every script class shares: the rows that describe its members, the check of its receiver,
// and how it holds its library object.
#pragma once

#include <brennox/AutoreleasePool.h>
#include <brennox/Object.h>
#include <brennox/Ref.h>
#include <napi.h>

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "main/Arguments.h"
#include "main/ConstructorMap.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace velkor {

// An object that is left alive on purpose; leak checks pass over it and what it holds.
inline void LeakOnPurpose([[maybe_unused]] const void* object) {
#if defined(__SANITIZE_ADDRESS__)
  __lsan_ignore_object(object);
#endif
}

// What becomes of the held library object with the script object.
enum class Teardown {
  kRelease,
  // Deleted whatever its reference count is.
  kDelete,
  // Left alive.
  kLeave,
};

// What a script object that native code creates holds of the library's object.
enum class Adopt {
  // A copy; the object that the constructor made is released.
  kCopy,
  // A copy; the object that the constructor made is left alive.
  kCopyOverDefault,
  // The same object.
  kShare,
  // Native code creates no such script objects.
  kNever,
};

// A text that outlives every environment: only constants with static storage convert to it.
struct LiteralText {
  consteval LiteralText(const char* literal) : text(literal) {}
  const char* text;
};

// Base of all script classes. `Self` has a `kName`, the class's name for scripts.
template <class Self>
class ScriptClass : public Napi::ObjectWrap<Self> {
 public:
  using Members = std::vector<Napi::ClassPropertyDescriptor<Self>>;

  // The native part of a receiver. node-addon-api calls it before every member; other objects'
  // members may have been borrowed, so it looks whether the object is one of ours.
  static Self* Unwrap(Napi::Object object) {
    Self* const self = From(object);
    Require(self != nullptr, object.Env(), "Illegal invocation");
    return self;
  }

  // The native part of a script value; null for values of any other kind.
  static Self* From(Napi::Value value) {
    if (IsLast(value)) {
      return static_cast<Self*>(last_);
    }
    void* wrapped = nullptr;
    if (napi_unwrap(value.Env(), value, &wrapped) != napi_ok || Live().count(wrapped) == 0) {
      return nullptr;
    }
    auto* const self = static_cast<Self*>(wrapped);
    last_ = self;
    return self;
  }

  // The native part of a value that has to be a `Self`. Primitive values are coerced to objects;
  // one that is nobody's wrapper throws Node-API's own error, one of another class a TypeError.
  static Self& Expect(Napi::Value value) {
    const Napi::Object object = value.ToObject();
    void* anything = nullptr;
    if (napi_unwrap(object.Env(), object, &anything) != napi_ok) {
      throw Napi::Error::New(object.Env());
    }
    Self* const self = From(object);
    if (self == nullptr) {
      throw Napi::TypeError::New(object.Env(), "Value must be " + std::string(Self::kName));
    }
    return *self;
  }

 protected:
  using Napi::ObjectWrap<Self>::InstanceAccessor;
  using Napi::ObjectWrap<Self>::InstanceMethod;

  explicit ScriptClass(const Napi::CallbackInfo& info) : Napi::ObjectWrap<Self>(info) {
    Live().insert(this);
    last_ = this;
  }

  ~ScriptClass() override {
    Live().erase(this);
    if (last_ == this) {
      last_ = nullptr;
    }
    Weigh(0);
  }

  // Tells the garbage collector how many bytes the library keeps for this object.
  void Weigh(std::size_t bytes) {
    const auto weight = static_cast<std::int64_t>(bytes);
    if (weight != weight_) {
      std::int64_t total = 0;
      napi_adjust_external_memory(this->Env(), weight - weight_, &total);
      weight_ = weight;
    }
  }

  // Rows. A getter, setter or method is a member of Self or of the library object that Self holds.
  template <class Kind, auto kGet, auto kSet>
  static Napi::ClassPropertyDescriptor<Self> Property(const char* name, LiteralText wrongType) {
    return InstanceAccessor(name, &ScriptClass::template Read<Kind, kGet>,
                            &ScriptClass::template Write<Kind, kSet>, napi_default,
                            const_cast<char*>(wrongType.text));
  }
  template <class Kind, auto kGet>
  static Napi::ClassPropertyDescriptor<Self> ReadOnly(const char* name) {
    return InstanceAccessor(name, &ScriptClass::template Read<Kind, kGet>, nullptr);
  }
  // A plain field of Self.
  template <class Kind, auto kField>
  static Napi::ClassPropertyDescriptor<Self> Field(const char* name, LiteralText wrongType) {
    return InstanceAccessor(name, &ScriptClass::template Read<Kind, kField>,
                            &ScriptClass::template WriteField<Kind, kField>, napi_default,
                            const_cast<char*>(wrongType.text));
  }
  // A pair of Self's own: `Napi::Value Get(info)` and `void Set(info, value)`.
  template <auto kGet>
  static Napi::ClassPropertyDescriptor<Self> Accessor(const char* name) {
    return InstanceAccessor(name, &ScriptClass::template Run<kGet>, nullptr);
  }
  template <auto kGet, auto kSet>
  static Napi::ClassPropertyDescriptor<Self> Accessor(const char* name) {
    return InstanceAccessor(name, &ScriptClass::template Run<kGet>,
                            &ScriptClass::template RunSetter<kSet>);
  }
  // A method of Self's own: `Napi::Value Name(info)` or `void Name(info)`.
  template <auto kMethod>
  static Napi::ClassPropertyDescriptor<Self> Method(const char* name) {
    return InstanceMethod(name, &ScriptClass::template Run<kMethod>);
  }
  // A method without arguments that gives what `kGet` gives.
  template <class Kind, auto kGet>
  static Napi::ClassPropertyDescriptor<Self> Getter(const char* name) {
    return InstanceMethod(name, &ScriptClass::template Read<Kind, kGet>);
  }

 private:
  // The native parts that are alive on this thread. What an object carries is looked up here before
  // it is used: objects of our other classes, of other addons and of another copy of this module in
  // the process carry something else. A tag on each object would say the same, and making and
  // reading it takes the engine longer than all the rest that it does for an object. This base
  // comes first in all classes, so that it has the address of the whole.
  static std::unordered_set<const void*>& Live() {
    // Not a member: for Windows, gcc makes such a member in every file that uses it.
    thread_local std::unordered_set<const void*> live;
    return live;
  }

  // Scripts read many members of one object in a row, and a look at what it carries costs more than
  // most getters. The very object that was looked at last on this thread needs no second look.
  static bool IsLast(Napi::Value value) {
    napi_value object = nullptr;
    bool isSame = false;
    return last_ != nullptr && last_->Env() == value.Env() &&
           napi_get_reference_value(value.Env(), *last_, &object) == napi_ok && object != nullptr &&
           napi_strict_equals(value.Env(), value, object, &isSame) == napi_ok && isSame;
  }

  // Null or alive: a destructor removes its object.
  static inline constinit thread_local ScriptClass* last_ = nullptr;

  // Calls a member of Self or of its library object.
  template <auto kMember, class... Args>
  decltype(auto) Call(Args&&... args) {
    Self& self = static_cast<Self&>(*this);
    if constexpr (std::is_invocable_v<decltype(kMember), Self&, Args...>) {
      return std::invoke(kMember, self, std::forward<Args>(args)...);
    } else {
      return std::invoke(kMember, *self.held(), std::forward<Args>(args)...);
    }
  }

  template <class Kind, auto kGet>
  Napi::Value Read(const Napi::CallbackInfo& info) {
    brennox::AutoreleasePool pool;
    return Kind::ToScript(info.Env(), Call<kGet>());
  }

  template <class Kind>
  static void CheckType(const Napi::CallbackInfo& info, const Napi::Value& value) {
    Require(Kind::Accepts(value), info.Env(), static_cast<const char*>(info.Data()));
  }

  template <class Kind, auto kSet>
  void Write(const Napi::CallbackInfo& info, const Napi::Value& value) {
    brennox::AutoreleasePool pool;
    CheckType<Kind>(info, value);
    Call<kSet>(Kind::FromScript(value));
  }

  template <class Kind, auto kField>
  void WriteField(const Napi::CallbackInfo& info, const Napi::Value& value) {
    CheckType<Kind>(info, value);
    Call<kField>() = Kind::FromScript(value);
  }

  template <auto kMethod>
  Napi::Value Run(const Napi::CallbackInfo& info) {
    brennox::AutoreleasePool pool;
    Self& self = static_cast<Self&>(*this);
    if constexpr (std::is_void_v<
                      std::invoke_result_t<decltype(kMethod), Self&, const Napi::CallbackInfo&>>) {
      (self.*kMethod)(info);
      return info.Env().Undefined();
    } else {
      return (self.*kMethod)(info);
    }
  }

  template <auto kSet>
  void RunSetter(const Napi::CallbackInfo& info, const Napi::Value& value) {
    brennox::AutoreleasePool pool;
    (static_cast<Self&>(*this).*kSet)(info, value);
  }

  std::int64_t weight_ = 0;
};

// Base of the script classes that hold a library object.
template <class Self, class Library, Teardown kTeardown, Adopt kAdopt = Adopt::kNever>
class Wrapper : public ScriptClass<Self> {
 public:
  // Never null.
  Library* held() const { return held_; }

  // A new script object for a library object. The script constructor runs without arguments first.
  // Calls `Adopted()` of a class that has one.
  static Napi::Object NewInstance(Napi::Env env,
                                  Library* object) requires(kAdopt != Adopt::kNever) {
    const Napi::Object result = ConstructorMap::NewInstance(env, Self::kName);
    Self* const self = Self::Unwrap(result);
    Wrapper* const wrapper = self;
    Library* adopted = object;
    if constexpr (kAdopt == Adopt::kShare) {
      adopted->retain();
    } else {
      adopted = Create(object);
    }
    Library* const previous = std::exchange(wrapper->held_, adopted);
    if constexpr (kAdopt == Adopt::kCopyOverDefault) {
      LeakOnPurpose(previous);
    } else {
      previous->release();
    }
    if constexpr (requires { self->Adopted(); }) {
      self->Adopted();
    }
    return result;
  }

 protected:
  explicit Wrapper(const Napi::CallbackInfo& info) : ScriptClass<Self>(info), held_(Create()) {}
  ~Wrapper() override {
    if constexpr (kTeardown == Teardown::kRelease) {
      held_->release();
      held_ = nullptr;
    } else if constexpr (kTeardown == Teardown::kDelete) {
      delete held_;
    }
  }

  // Holds another object from here on.
  void Hold(brennox::Ref<Library> object) {
    static_assert(kTeardown == Teardown::kRelease);
    std::exchange(held_, object.leak())->release();
  }

 private:
  template <class... Args>
  static Library* Create(Args... args) {
    auto* const object = new Library(args...);
    if constexpr (kTeardown == Teardown::kLeave) {
      LeakOnPurpose(object);
    }
    return object;
  }

  Library* held_;
};

}  // namespace velkor
