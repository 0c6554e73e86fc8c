#pragma once

#include <cstdint>

#include "frame/IZvBaseInterface.h"

class IServMain;

inline constexpr IID IID_IServPlugin = {
    0x414e2323, 0x04d0, 0x9833, {0x76, 0x41, 0x88, 0x7c, 0x5d, 0x82, 0x52, 0xe9}};

/// A plug-in's life: create, Init, Start, work, Stop, UnInit, destroy. A failed Init is followed by
/// destruction alone; a failed Start by UnInit and destruction.
class IServPlugin : public IZvBaseInterface {
 public:
  virtual std::uint32_t Init(IServMain* host) = 0;  ///< `host` may be null
  virtual std::uint32_t UnInit() = 0;
  virtual std::uint32_t Start() = 0;
  virtual void Stop() = 0;
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;

 protected:
  ~IServPlugin() = default;
};
