#include "push/comm/bus_subscription.h"

#include <utility>

#include "frame/msgbus/IBusChannel.h"

namespace cloud::comm {

bus_subscription::bus_subscription(IBus* bus, IBusSubscription* subscription,
                                   std::optional<std::string> listener) noexcept
    : bus_(bus), subscription_(subscription), listener_(std::move(listener)) {}

bus_subscription::bus_subscription(bus_subscription&& other) noexcept
    : bus_(other.bus_),
      subscription_(std::exchange(other.subscription_, nullptr)),
      listener_(std::move(other.listener_)) {}

bus_subscription& bus_subscription::operator=(bus_subscription&& other) noexcept {
  if (this != &other) {
    close();
    bus_ = other.bus_;
    subscription_ = std::exchange(other.subscription_, nullptr);
    listener_ = std::move(other.listener_);
  }
  return *this;
}

bus_subscription::~bus_subscription() {
  close();
}

void bus_subscription::close() noexcept {
  IBusSubscription* const subscription = std::exchange(subscription_, nullptr);
  if (subscription == nullptr) return;

  IBusChannel* const channel = subscription->GetChannel();
  // Without its channel there is neither a place to leave nor a name under which the listener could
  // be withdrawn: the bus keeps both. Meant so.
  if (channel == nullptr) return;
  channel->Unsubscribe(subscription);
  if (listener_) bus_->RemoveListener(channel->GetName(), listener_->c_str());
}

}  // namespace cloud::comm
