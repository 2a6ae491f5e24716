// Which vector code may run. The module has to load on any x86-64, so AVX2 is asked for at run
// time. For Windows, gcc saves vectors of 32 bytes to places on the stack that are aligned to 16 and
// crashes on them.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__MINGW32__)
#define BRENNOX_AVX2 1
#else
#define BRENNOX_AVX2 0
#endif

#if BRENNOX_AVX2
#include <immintrin.h>
#define BRENNOX_TARGET_AVX2 __attribute__((target("avx2")))

namespace brennox::text {

inline bool hasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

}  // namespace brennox::text
#endif
