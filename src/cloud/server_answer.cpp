#include "cloud/server_answer.h"

#include <cstring>

#include "_base/win_error.h"

namespace cloud {

namespace {

/// 0 for a real: codes are integers, and rounding would invent one.
std::int32_t number(const zv::Json& value) {
  json_int_t integer = 0;
  value.GetValue(integer);
  return static_cast<std::int32_t>(integer);
}

server_answer read_error(const zv::Json& error) {
  server_answer read;
  zv::Json data;
  if (error.GetMember("data", data) && data.IsObject()) read.result.Share(data);

  zv::Json code;
  if (error.IsNumber()) {
    read.server_code = number(error);
  } else if (error.GetMember("code", code) && code.IsNumber()) {
    read.server_code = number(code);
  } else {
    read.status = win_error::invalid_data;
  }
  return read;
}

}  // namespace

server_answer read_server_answer(const zv::Json& answer, answer_mode mode) {
  server_answer read;
  if (mode == answer_mode::connect && !answer.IsObject()) {
    read.status = win_error::gen_failure;
    return read;
  }
  zv::Json error;
  if (answer.GetMember("error", error)) return read_error(error);

  zv::Json result;
  if (mode == answer_mode::technology) {
    read.result.Share(answer);
  } else if (answer.GetMember("result", result)) {
    read.result.Share(result.IsNull() ? answer : result);
  }
  return read;
}

void wipe(void* memory, std::size_t size) noexcept {
  // Through a pointer that the compiler has to read, it can't prove the writing idle.
  static void* (*const volatile set)(void*, int, std::size_t) = std::memset;
  set(memory, 0, size);
}

}  // namespace cloud
