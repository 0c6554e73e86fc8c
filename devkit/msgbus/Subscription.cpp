#include "devkit/msgbus/Subscription.h"

#include "devkit/msgbus/Message.h"
#include "devkit/msgbus/bus_failure.h"

namespace devkit::bus {

IBusChannel* Subscription::GetChannel() {
  return fails("SubscriptionGetChannel") ? nullptr : &channel_;
}

std::uint32_t Subscription::SetCallback(bus_callback callback, void* context, std::uint64_t) {
  constexpr std::uint32_t invalid_parameter = 87;
  if (const std::uint32_t failure = wished_failure("SetCallback"); failure != 0) return failure;
  if (callback == nullptr) return invalid_parameter;
  const std::lock_guard guard(mutex_);
  callback_ = callback;
  context_ = context;
  return 0;
}

void Subscription::arrived(const Arrived& message) {
  const std::lock_guard guard(mutex_);
  if (callback_ == nullptr) return;
  // Nothing here refers to the subscription, which may end within its own callback.
  strand_->post([callback = callback_, context = context_, link = link_, message] {
    auto* const copy = new Message(*message.fields, message.reply_to, link);
    callback(copy, context);
    copy->Release();
  });
}

}  // namespace devkit::bus
