#include "main/ConstructorMap.h"

#include <map>
#include <memory>
#include <string>

namespace velkor {
namespace {

using Constructors = std::map<std::string, Napi::FunctionReference, std::less<>>;

// What the instance data points to.
struct Owner {
  Constructors constructors;
};

Owner* OwnerOf(Napi::Env env) {
  void* owner = nullptr;
  if (napi_get_instance_data(env, &owner) != napi_ok) {
    throw Napi::Error::New(env);
  }
  return static_cast<Owner*>(owner);
}

// Deletes the references with the map.
void Finalize(napi_env, void* owner, void*) {
  delete static_cast<Owner*>(owner);
}

}  // namespace

void ConstructorMap::Set(Napi::Env env, const char* name, Napi::Function constructor) {
  Owner* owner = OwnerOf(env);
  std::unique_ptr<Owner> created;
  if (owner == nullptr) {
    created = std::make_unique<Owner>();
    owner = created.get();
  }
  owner->constructors[name] = Napi::Persistent(constructor);
  if (created != nullptr) {
    if (napi_set_instance_data(env, owner, Finalize, nullptr) != napi_ok) {
      throw Napi::Error::New(env);
    }
    static_cast<void>(created.release());
  }
}

Napi::Object ConstructorMap::NewInstance(Napi::Env env, const char* name) {
  Owner* const owner = OwnerOf(env);
  if (owner == nullptr) {
    throw Napi::TypeError::New(env, "Constructor map is not initialized");
  }
  const auto entry = owner->constructors.find(std::string_view(name));
  if (entry == owner->constructors.end()) {
    // The text names one class whichever was asked for; scripts match on it.
    throw Napi::TypeError::New(env, "Constructor for MessageHeader is not found in map");
  }
  return entry->second.New(std::initializer_list<napi_value>{}).As<Napi::Object>();
}

}  // namespace velkor
