#pragma once

#include <cstdint>

namespace support {

/// One call of an export of the recording logging library, as it hands calls out. The texts are
/// valid for the duration of a visit. Those that the export doesn't have are empty.
struct log_call {
  const char* export_name;
  std::int16_t depth;
  std::uint32_t level;
  void* module;
  const wchar_t* function;
  const wchar_t* format;
  const wchar_t* text;         ///< the finished line
  const char* removed_module;  ///< what LogRemoveModule was given
};

using log_call_visitor = void (*)(void* context, const log_call& call);

}  // namespace support
