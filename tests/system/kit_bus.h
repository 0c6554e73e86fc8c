#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "_base/waiting.h"
#include "devkit/broker/Broker.h"
#include "devkit/common/os.h"
#include "frame/get_msgbus.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "frame/msgbus/IBusMessage.h"
#include "frame/msgbus/IBusSubscription.h"
#include "frame/msgbus/ibus_observer.h"
#include "system/OwnKit.h"

namespace kit_test {

/// The kit's bus library in this process, from joining the bus to leaving it.
class KitBus {
 public:
  KitBus()
      : library_(std::filesystem::path(KIT_FOLDER) / devkit::os::library_name("msgbus")),
        leave_(library_.symbol<void (*)()>("SpliceBusLeave")) {}
  KitBus(const KitBus&) = delete;
  KitBus& operator=(const KitBus&) = delete;
  ~KitBus() { leave_(); }

  ZvGetInterface_t entrance() const { return library_.symbol<ZvGetInterface_t>("ZvGetInterface"); }
  IBus* get() const { return find_msgbus(); }
  IBus* operator->() const { return get(); }
  IBusChannel* channel(const std::string& name) const {
    return get()->Core()->GetChannel(name.c_str());
  }
  void leave() const { leave_(); }

 private:
  const devkit::os::Library library_;
  void (*const leave_)();
};

struct Releasing {
  void operator()(IBusMessage* message) const { message->Release(); }
};
using MessagePointer = std::unique_ptr<IBusMessage, Releasing>;

inline MessagePointer new_message(const KitBus& bus) {
  return MessagePointer(bus->Core()->CreateMessage(0));
}

inline MessagePointer numbered(const KitBus& bus, std::int64_t number) {
  MessagePointer message = new_message(bus);
  message->SetInt("number", number);
  return message;
}

inline void send(const KitBus& bus, const std::string& channel, std::int64_t number) {
  bus.channel(channel)->Send(numbered(bus, number).get());
}

struct Answer {
  std::uint32_t status;
  MessagePointer reply;
};

inline Answer ask(const KitBus& bus, const std::string& channel, std::int64_t number,
                  std::uint32_t timeout = 30000) {
  IBusMessage* reply = nullptr;
  const std::uint32_t status =
      bus.channel(channel)->SendAndWait(numbered(bus, number).get(), &reply, timeout);
  return {status, MessagePointer(reply)};
}

/// A subscription whose messages go to a function, on the bus's threads.
class Seat {
 public:
  using Received = std::function<void(IBusMessage*)>;

  Seat(const KitBus& bus, const std::string& channel, Received received)
      : channel_(bus.channel(channel)),
        received_(std::move(received)),
        subscription_(channel_->Subscribe()) {
    EXPECT_EQ(subscription_->SetCallback(call, this, 0), 0u);
  }
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  ~Seat() { end(); }

  void end() {
    if (subscription_ != nullptr) channel_->Unsubscribe(std::exchange(subscription_, nullptr));
  }

 private:
  static void call(IBusMessage* message, void* self) {
    static_cast<Seat*>(self)->received_(message);
  }

  IBusChannel* const channel_;
  const Received received_;
  IBusSubscription* subscription_;
};

/// What several threads add to, and one waits for.
template <class T>
class Collected {
 public:
  void add(T value) {
    const std::lock_guard guard(mutex_);
    values_.push_back(std::move(value));
  }
  std::vector<T> all() const {
    const std::lock_guard guard(mutex_);
    return values_;
  }
  bool reaches(std::size_t count) const {
    return waiting::until([&] { return all().size() >= count; });
  }
  /// Waits, too.
  bool has(const T& value) const {
    return waiting::until([&] {
      const std::vector<T> now = all();
      return std::find(now.begin(), now.end(), value) != now.end();
    });
  }

 private:
  mutable std::mutex mutex_;
  std::vector<T> values_;
};

/// Collects the numbers of a channel's messages.
class NumberSeat {
 public:
  NumberSeat(const KitBus& bus, const std::string& channel)
      : seat_(bus, channel,
              [this](IBusMessage* message) { numbers.add(message->GetInt("number")); }) {}

  Collected<std::int64_t> numbers;

 private:
  Seat seat_;
};

/// Writes down what listeners come and go, as "+channel listener" and "-channel listener", until it
/// ends.
class ListenerLog final : public ibus_observer {
 public:
  explicit ListenerLog(const KitBus& bus) : bus_(bus.get()) {
    EXPECT_TRUE(bus_->AddObserver(this, 0));
  }
  ListenerLog(const ListenerLog&) = delete;
  ListenerLog& operator=(const ListenerLog&) = delete;
  ~ListenerLog() { bus_->RemoveObserver(this, 0); }

  void* QueryInterface(const IID&) override { return nullptr; }
  void on_new_listener(void*, const char* channel, const char* listener) override {
    lines.add("+" + std::string(channel) + " " + listener);
  }
  void on_listener_removed(void*, const char* channel, const char* listener) override {
    lines.add("-" + std::string(channel) + " " + listener);
  }

  Collected<std::string> lines;

 private:
  IBus* const bus_;
};

/// A broker, and this process not yet on its bus.
class BusTest : public testing::Test {
 protected:
  /// The broker again, after its death. False where Wine's server still has the dead one's port.
  bool broker_is_back() {
    try {
      broker_.start();
      return true;
    } catch (const std::runtime_error&) {
      const bool can_be_wine = devkit::os::library_name("x") == "x.dll";
      if (!can_be_wine) throw;
      return false;
    }
  }
  static constexpr const char* port_is_kept =
      "Wine kept the sockets of a killed process open, and with them the broker's port";

  // Wine's server may keep a killed broker's connections open, too, which then is only frozen.
  const Variable keepalive_{"SPLICE_BUS_KEEPALIVE", "5"};
  devkit::Broker broker_;
  const Variable address_{"SPLICE_BROKER", broker_.text()};
};

}  // namespace kit_test
