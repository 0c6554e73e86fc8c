#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/zvjson/zvjson.h"

namespace cloud {

/// How an answer is read: that of a method call has a form, that of a technology is anybody's.
enum class answer_mode { connect, technology };

/// What an answer says.
struct server_answer {
  std::uint32_t status = 0;      ///< 0, or why the answer is unusable: 13 or 31
  std::int32_t server_code = 0;  ///< the server's own error, 0 if none
  zv::Json result;               ///< may be empty
};

/// Reads a parsed answer; pure. `answer` may be empty or invalid.
server_answer read_server_answer(const zv::Json& answer, answer_mode mode);

/// Overwrites `size` bytes with zeros, in optimised builds too.
void wipe(void* memory, std::size_t size) noexcept;

}  // namespace cloud
