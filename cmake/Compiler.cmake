# Warnings, hardening and sanitizers, for every target of the project.
add_library(velk_compiler INTERFACE)

target_compile_options(velk_compiler INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
  -Wimplicit-fallthrough -Wundef -Wno-missing-field-initializers)
target_compile_options(velk_compiler INTERFACE -fvisibility-inlines-hidden -fno-semantic-interposition)

if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(velk_compiler INTERFACE
    -O2 -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_link_options(velk_compiler INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)
  if(VELK_LTO)
    # Fat objects: the executable links with LTO, the tests link the same objects quickly without it.
    target_compile_options(velk_compiler INTERFACE -flto=auto -ffat-lto-objects)
  endif()
endif()

if(VELK_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "libFuzzer comes with clang: set CMAKE_CXX_COMPILER to clang++")
  endif()
  # Warnings are the other compiler's to judge.
  target_compile_options(velk_compiler INTERFACE
    -w -O1 -gline-tables-only -fno-omit-frame-pointer
    -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined)
  target_link_options(velk_compiler INTERFACE -fsanitize=address,undefined)
endif()

if(VELK_SANITIZE)
  target_compile_options(velk_compiler INTERFACE
    -O1 -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(velk_compiler INTERFACE -fsanitize=address,undefined)
endif()
