#include "devkit/msgbus/Channel.h"

#include <thread>

#include "devkit/msgbus/Message.h"
#include "devkit/msgbus/bus_failure.h"

namespace devkit::bus {

Channel::~Channel() {
  for (const auto& [face, subscription] : subscriptions_) {
    link_->unsubscribe(name_, subscription.get());
    subscription->close();
  }
}

void Channel::Send(IBusMessage* message) {
  if (message == nullptr || fails("Send")) return;
  link_->send(name_, static_cast<Message*>(message)->fields());
}

std::uint32_t Channel::SendAndWait(IBusMessage* message, IBusMessage** reply,
                                   std::uint32_t timeout_milliseconds) {
  constexpr std::uint32_t invalid_parameter = 87;
  constexpr std::uint32_t timed_out = 1460;
  if (reply != nullptr) *reply = nullptr;
  if (const std::uint32_t failure = wished_failure("SendAndWait"); failure != 0) return failure;
  if (message == nullptr || reply == nullptr) return invalid_parameter;
  const std::chrono::milliseconds timeout(timeout_milliseconds);
  if (fails("NoReply")) {
    std::this_thread::sleep_for(timeout);
    return timed_out;
  }

  Fields fields;
  workers_.need_turns();
  const std::uint32_t status =
      link_->request(name_, static_cast<Message*>(message)->fields(), timeout, fields);
  if (status == 0) *reply = new Message(std::move(fields), {}, link_);
  return status;
}

IBusSubscription* Channel::Subscribe() {
  if (fails("Subscribe")) return nullptr;
  const auto subscription = std::make_shared<Subscription>(*this, link_, workers_);
  {
    const std::lock_guard guard(mutex_);
    subscriptions_.emplace(subscription.get(), subscription);
  }
  workers_.need_turns();
  link_->subscribe(name_, subscription.get());
  return subscription.get();
}

void Channel::Unsubscribe(IBusSubscription* face) {
  std::shared_ptr<Subscription> subscription;
  {
    const std::lock_guard guard(mutex_);
    const auto found = subscriptions_.find(face);
    if (found == subscriptions_.end()) return;
    subscription = std::move(found->second);
    subscriptions_.erase(found);
  }
  link_->unsubscribe(name_, subscription.get());
  subscription->close();
}

}  // namespace devkit::bus
