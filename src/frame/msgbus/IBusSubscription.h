#pragma once

#include <cstdint>

class IBusChannel;
class IBusMessage;

/// Called on a thread of the bus, which holds up the next message of this subscription meanwhile.
using bus_callback = void (*)(IBusMessage* message, void* context);

/// A seat on a channel. It belongs to the channel and ends by IBusChannel::Unsubscribe.
class IBusSubscription {
 public:
  virtual IBusChannel* GetChannel() = 0;  ///< may be null
  /// 0, and messages arrive from now on.
  virtual std::uint32_t SetCallback(bus_callback callback, void* context, std::uint64_t zero) = 0;

 protected:
  ~IBusSubscription() = default;
};
