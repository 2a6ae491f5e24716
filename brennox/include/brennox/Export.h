// Visibility of the library's public face.
#pragma once

#if defined(_WIN32)
#if defined(BRENNOX_STATIC)
#define BRENNOX_EXPORT
#elif defined(BRENNOX_BUILDING)
#define BRENNOX_EXPORT __declspec(dllexport)
#else
#define BRENNOX_EXPORT __declspec(dllimport)
#endif
#else
#define BRENNOX_EXPORT __attribute__((visibility("default")))
#endif
