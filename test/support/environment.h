// Changing the process's environment, for tests.
#pragma once

#include <cstdlib>

#if defined(_WIN32)
inline void setEnvironment(const char* name, const char* value) {
  _putenv_s(name, value);
}
inline void unsetEnvironment(const char* name) {
  _putenv_s(name, "");
}
#else
inline void setEnvironment(const char* name, const char* value) {
  ::setenv(name, value, 1);
}
inline void unsetEnvironment(const char* name) {
  ::unsetenv(name);
}
#endif
