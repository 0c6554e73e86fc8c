#pragma once

#include "_base/abi.h"

inline constexpr IID IID_IZvBaseInterface = {
    0x66551ab3, 0xfca3, 0xbc90, {0x5f, 0x42, 0xc5, 0xf7, 0x92, 0xe2, 0x4b, 0x51}};

/// The root of every plug-in.
class IZvBaseInterface {
 public:
  /// The facet `id` of the same object, or null. Counts nothing: it is valid as long as the object,
  /// whose life is governed by its factory's count alone.
  virtual void* QueryInterface(const IID& id) = 0;

 protected:
  ~IZvBaseInterface() = default;
};
