#pragma once

#include <optional>
#include <string>

#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusSubscription.h"

namespace cloud::comm {

/// Owner of a seat on a channel and of the listener that it may have announced there. One thread at
/// a time.
class bus_subscription {
 public:
  bus_subscription() noexcept = default;
  /// Takes charge of `subscription`. `listener` is withdrawn with it, whether or not it came to be
  /// announced.
  bus_subscription(IBus* bus, IBusSubscription* subscription,
                   std::optional<std::string> listener) noexcept;
  bus_subscription(bus_subscription&& other) noexcept;
  bus_subscription& operator=(bus_subscription&& other) noexcept;
  /// As close.
  ~bus_subscription();

  /// Leaves the channel first and withdraws the listener then, so that whoever hears of it finds
  /// nobody there any more. Repeating it is harmless.
  void close() noexcept;

  /// Null on an empty one.
  IBusSubscription* get() const noexcept { return subscription_; }
  explicit operator bool() const noexcept { return subscription_ != nullptr; }

 private:
  IBus* bus_ = nullptr;
  IBusSubscription* subscription_ = nullptr;
  std::optional<std::string> listener_;
};

}  // namespace cloud::comm
