#pragma once

#include <jansson.h>

#include <cstddef>

namespace zv {

/// jansson's decoding flags; a load passes no other bits on.
inline constexpr std::size_t load_flags = JSON_REJECT_DUPLICATES | JSON_DISABLE_EOF_CHECK |
                                          JSON_DECODE_ANY | JSON_DECODE_INT_AS_REAL |
                                          JSON_ALLOW_NUL;
static_assert(load_flags == 1 + 2 + 4 + 8 + 16);

/// The encoding flags that a dump passes on. The indentation in the low bits is not among them.
inline constexpr std::size_t dump_flags = JSON_COMPACT | JSON_ENSURE_ASCII | JSON_SORT_KEYS |
                                          JSON_PRESERVE_ORDER | JSON_ENCODE_ANY | JSON_ESCAPE_SLASH;
static_assert(dump_flags == 32 + 64 + 128 + 256 + 512 + 1024);

}  // namespace zv
