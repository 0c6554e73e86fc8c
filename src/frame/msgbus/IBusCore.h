#pragma once

#include <cstdint>

class IBusChannel;
class IBusMessage;

/// Where channels and messages come from.
class IBusCore {
 public:
  virtual IBusMessage* CreateMessage(std::uint64_t zero) = 0;  ///< one reference, or null
  virtual IBusChannel* GetChannel(const char* name) = 0;       ///< the bus's own, or null

 protected:
  ~IBusCore() = default;
};
