#pragma once

#include <cstdint>

#include "_base/abi.h"

class ECEvent;

inline constexpr IID IID_ECEventsClient = {
    0x4a39a956, 0xfead, 0x848d, {0x25, 0x46, 0x1a, 0x03, 0xfe, 0x75, 0xd6, 0x4b}};

/// The closed events client. Its other operations aren't used here.
class IECEventsClient {
 public:
  virtual void not_called_0() = 0;
  virtual void not_called_1() = 0;
  virtual void not_called_2() = 0;
  virtual void not_called_3() = 0;
  virtual void not_called_4() = 0;
  virtual void not_called_5() = 0;
  virtual void not_called_6() = 0;
  /// 0, or why the event was refused. Nothing of `event` is kept. `flag` is always true; the spare
  /// zero is 64 bits wide.
  virtual std::uint32_t post(ECEvent* event, bool flag, std::uint64_t zero) = 0;

 protected:
  ~IECEventsClient() = default;
};
