#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "devkit/msgbus/Subscription.h"
#include "frame/msgbus/IBusChannel.h"

namespace devkit::bus {

class Channel final : public IBusChannel {
 public:
  Channel(std::string name, std::shared_ptr<Link> link, Workers& workers)
      : name_(std::move(name)), link_(std::move(link)), workers_(workers) {}
  /// Ends what is still subscribed.
  ~Channel();

  const char* GetName() override { return name_.c_str(); }
  void Send(IBusMessage* message) override;
  /// 87 without a message or a place for the reply; 1460 when the time is over; 2250 if there is no
  /// broker.
  std::uint32_t SendAndWait(IBusMessage* message, IBusMessage** reply,
                            std::uint32_t timeout_milliseconds) override;
  IBusSubscription* Subscribe() override;
  /// Of a subscription that isn't one of this channel's, nothing.
  void Unsubscribe(IBusSubscription* subscription) override;

 private:
  const std::string name_;
  const std::shared_ptr<Link> link_;
  Workers& workers_;
  std::mutex mutex_;
  std::map<IBusSubscription*, std::shared_ptr<Subscription>> subscriptions_;
};

}  // namespace devkit::bus
