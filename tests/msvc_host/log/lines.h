#pragma once

// What the logging stand-in writes down, for the host to read.

#include <stdint.h>

namespace log_lines {

struct line {
  int16_t depth;
  uint32_t level;
  void* module;
  wchar_t function[64];
  wchar_t format[32];
  wchar_t text[512];  // the format's wide arguments one after another, parted by '|'
  int32_t number;     // its last %d
};

using count_function = uint32_t();                  // log_line_count
using line_function = const line*(uint32_t index);  // log_line; null past the end
using inits_function = uint32_t();                  // log_inits: calls of LogInit
using removed_function = const char*();  // log_removed: the text given to LogRemoveModule

}  // namespace log_lines
