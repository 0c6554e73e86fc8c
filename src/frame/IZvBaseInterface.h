#pragma once

#include "_base/abi.h"

inline constexpr IID IID_IZvBaseInterface = {
    0x66551ab3, 0xfca3, 0xbc90, {0x5f, 0x42, 0xc5, 0xf7, 0x92, 0xe2, 0x4b, 0x51}};

/// What every plug-in is at least.
class IZvBaseInterface {
 public:
  /// Another face of this object, or null if it has none of that id. No reference is taken: faces
  /// live and die with the object.
  virtual void* QueryInterface(const IID& id) = 0;

 protected:
  ~IZvBaseInterface() = default;
};
