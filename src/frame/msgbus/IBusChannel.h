#pragma once

#include <cstdint>

class IBusMessage;
class IBusSubscription;

/// A named channel, on which a message reaches every subscription of every process.
class IBusChannel {
 public:
  virtual const char* GetName() = 0;
  /// Takes no reference.
  virtual void Send(IBusMessage* message) = 0;
  /// 0, and `reply` is the caller's to release; anything else without one. Takes no reference of
  /// `message`.
  virtual std::uint32_t SendAndWait(IBusMessage* message, IBusMessage** reply,
                                    std::uint32_t timeout_milliseconds) = 0;
  virtual IBusSubscription* Subscribe() = 0;  ///< null on failure
  /// Returns once no callback runs any more, other than one that calls this itself.
  virtual void Unsubscribe(IBusSubscription* subscription) = 0;

 protected:
  ~IBusChannel() = default;
};
