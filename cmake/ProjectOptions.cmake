# What every target of the project is compiled with.
add_library(project_options INTERFACE)
target_compile_features(project_options INTERFACE cxx_std_20)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Wformat=2 -Wimplicit-fallthrough)
if(WIN32)
  target_compile_definitions(project_options INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0A00
    U_STATIC_IMPLEMENTATION  # ICU is linked in, as all libraries are
    __USE_MINGW_ANSI_STDIO=1)
  # The compiler's own libraries are not on any Windows.
  target_link_options(project_options INTERFACE -static)
endif()
if(BRENNOX_WERROR)
  target_compile_options(project_options INTERFACE -Werror)
endif()
if(BRENNOX_SANITIZE)
  target_compile_options(project_options INTERFACE
    -fsanitize=${BRENNOX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(project_options INTERFACE -fsanitize=${BRENNOX_SANITIZE})
endif()
if(BRENNOX_FUZZERS)
  target_compile_options(project_options INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(project_options INTERFACE -fsanitize=address,undefined)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(project_options INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(project_options INTERFACE -Wl,--gc-sections)
endif()
