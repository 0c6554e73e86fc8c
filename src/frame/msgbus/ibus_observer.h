#pragma once

#include <cstdint>

#include "frame/IZvBaseInterface.h"

inline constexpr IID IID_ibus_observer = {
    0x580b9ba1, 0x8b25, 0xb2eb, {0x70, 0x44, 0x83, 0xc2, 0xb1, 0x3a, 0xba, 0xaa}};

class ibus_observer_base : public IZvBaseInterface {
 protected:
  ~ibus_observer_base() = default;
};

/// Hears of the listeners that processes announce and withdraw, on a thread of the bus. The first
/// argument is the bus's affair. Names are UTF-8.
class ibus_observer : public ibus_observer_base {
 public:
  virtual void on_new_listener(void* ignored, const char* channel, const char* listener) = 0;
  virtual void on_listener_removed(void* ignored, const char* channel, const char* listener) = 0;

 protected:
  ~ibus_observer() = default;
};
