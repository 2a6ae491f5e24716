// The constructors of those script classes that native code creates objects of.
#pragma once

#include <napi.h>

namespace velkor {

// One map for each Node.js environment, kept as its instance data and deleted with it. Script
// thread.
class ConstructorMap {
 public:
  // Adds a constructor under its class's name; one that is there already is replaced.
  static void Set(Napi::Env env, const char* name, Napi::Function constructor);

  // A new script object of the class, made without arguments. Throws a TypeError when the map or
  // the class is not there.
  static Napi::Object NewInstance(Napi::Env env, const char* name);
};

}  // namespace velkor
