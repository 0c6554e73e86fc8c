#pragma once

#include <memory>
#include <mutex>

#include "devkit/msgbus/Link.h"
#include "devkit/msgbus/Strand.h"
#include "frame/msgbus/IBusSubscription.h"

namespace devkit::bus {

/// A seat on a channel, with a queue of its own: its callback may block without harm to others.
/// Messages that come while there is no callback are nobody's.
class Subscription final : public IBusSubscription, public ChannelSink {
 public:
  Subscription(IBusChannel& channel, std::weak_ptr<Link> link, Workers& workers)
      : channel_(channel), link_(std::move(link)), strand_(std::make_shared<Strand>(workers)) {}

  /// No callback starts after it; waits for a running one, except within it.
  void close() { strand_->close(); }

  IBusChannel* GetChannel() override;
  /// 87 without a function.
  std::uint32_t SetCallback(bus_callback callback, void* context, std::uint64_t zero) override;

  void arrived(const Arrived& message) override;

 private:
  IBusChannel& channel_;
  const std::weak_ptr<Link> link_;
  const std::shared_ptr<Strand> strand_;
  std::mutex mutex_;
  bus_callback callback_ = nullptr;
  void* context_ = nullptr;
};

}  // namespace devkit::bus
