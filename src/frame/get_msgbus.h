#pragma once

#include <cstdint>

#include "frame/IZvBaseInterface.h"
#include "frame/msgbus/IBus.h"

inline constexpr IID IID_IBusHost = {
    0xb06721f0, 0x7355, 0xaa61, {0xdf, 0x48, 0x22, 0xba, 0x12, 0xbd, 0x27, 0xfe}};
inline constexpr IID IID_IBus = {
    0xa4e72244, 0x5151, 0x8154, {0x21, 0x43, 0x52, 0x16, 0x4f, 0xef, 0x7f, 0xd1}};

/// What the bus library's ZvGetInterface gives. The slots without a name belong to that library.
class IBusHost {
 public:
  virtual void not_called_0() = 0;
  virtual void not_called_1() = 0;
  virtual void not_called_2() = 0;
  /// What is asked for the bus. Called with 0.
  virtual IZvBaseInterface* get_bus(std::uint64_t zero) = 0;

 protected:
  ~IBusHost() = default;
};

/// The bus library's export.
using ZvGetInterface_t = IBusHost* (*)(IID id);

/// The message bus of the process, or null: its library, found in the module's folder. It is only
/// found, never loaded: a process without a bus has no business getting one from here. Nothing is
/// logged.
IBus* get_msgbus();

/// The same, but of a library of that name wherever it was loaded from. That there are two ways is
/// meant: plug-ins take the one, whoever looks for a channel the other.
IBus* find_msgbus();
