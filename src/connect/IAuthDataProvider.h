#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/StringT.h"
#include "_base/abi.h"

inline constexpr IID IID_IAuthDataProvider = {
    0x9e381cff, 0x14ce, 0xa07e, {0x6a, 0x47, 0x13, 0xcc, 0x20, 0x20, 0x3c, 0xdf}};

/// In whose name requests go out. UTF-8.
struct auth_data {
  zv::StringT<char> device_id;
  zv::StringT<char> user_token;
};
static_assert(sizeof(auth_data) == 16 && offsetof(auth_data, user_token) == 8);

/// Knows the device and the user, once they are known. Any thread may ask.
class IAuthDataProvider {
 public:
  /// 0; or 232 while nobody is known, `data` being untouched.
  virtual std::uint32_t GetAuthData(auth_data& data) = 0;

 protected:
  ~IAuthDataProvider() = default;
};
