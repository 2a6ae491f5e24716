// Whether this is a build with AddressSanitizer, which sees use after free and writes past the end
// only in storage from the heap.
#pragma once

namespace brennox {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kAddressSanitized = true;
#else
inline constexpr bool kAddressSanitized = false;
#endif
#else
inline constexpr bool kAddressSanitized = false;
#endif

}  // namespace brennox
