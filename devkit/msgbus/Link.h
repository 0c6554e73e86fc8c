#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "devkit/msgbus/Address.h"
#include "devkit/msgbus/Fields.h"
#include "devkit/msgbus/MqttClient.h"
#include "devkit/msgbus/Outbox.h"
#include "devkit/msgbus/Peers.h"

namespace devkit::bus {

/// Where the reply to a request goes.
struct ReplyAddress {
  std::string topic;  ///< empty: the sender wants none
  std::string correlation;
};

/// A message as it came, shared by all who get it.
struct Arrived {
  std::shared_ptr<const Fields> fields;
  ReplyAddress reply_to;
};

/// Told within a turn, which must not be held up and which has the link locked: it puts things into
/// a queue, and nothing else.
class ChannelSink {
 public:
  virtual void arrived(const Arrived& message) = 0;

 protected:
  ~ChannelSink() = default;
};

class ListenerSink {
 public:
  virtual void changed(const ListenerChange& change) = 0;

 protected:
  ~ListenerSink() = default;
};

/// A process's place on the bus. It outlives the broker: connects whenever there is one, subscribes
/// and announces anew, and forgets processes that don't come back within `grace`. Messages sent
/// meanwhile wait until those who were there before are back, or given up. Any thread. All of it
/// happens in the turns that somebody takes.
class Link final : private MqttHandler {
 public:
  /// Joins with the first turns.
  explicit Link(Address broker, std::chrono::milliseconds grace = std::chrono::seconds(2));
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link() = default;

  /// MqttClient's: false once it has left.
  bool take_turn() { return client_.take_turn(); }
  /// Sends what is still underway, as far as that is a matter of a second, and leaves. Others take
  /// the turns.
  void leave();

  /// The messages of a channel go to `sink` from now on; if there is a broker, it knows when this
  /// returns. False if the name can't be that of a channel.
  bool subscribe(const std::string& channel, ChannelSink* sink);
  /// `sink` isn't told any more.
  void unsubscribe(const std::string& channel, ChannelSink* sink);

  void send(const std::string& channel, const Fields& fields);
  /// 0 with the first reply; 1460 when the time is over, 2250 if there is no broker.
  std::uint32_t request(const std::string& channel, const Fields& fields,
                        std::chrono::milliseconds timeout, Fields& reply);
  void reply(const ReplyAddress& to, const Fields& fields);

  /// Announced to all processes once the broker knows what was subscribed before.
  void add_listener(const Listener& listener);
  /// One announcement less.
  void remove_listener(const Listener& listener);
  bool is_listening(const Listener& listener);

  /// Told of changes from now on.
  void observe(ListenerSink* sink);
  void stop_observing(ListenerSink* sink);

 private:
  /// How far the present attempt at a connection has come.
  enum class State { connecting, away, subscribing, catching_up, joined };
  struct Topic {
    std::vector<ChannelSink*> sinks;
    int number = 0;  ///< of the subscription that isn't acknowledged yet
  };
  struct Waiting {
    std::condition_variable signal;
    std::optional<Fields> reply;
  };

  void on_connected() override;
  void on_away() override;
  void on_subscribed(int number) override;
  void on_published(int number) override;
  void on_message(Publication message) override;
  std::chrono::milliseconds on_tick() override;

  // All under the lock.
  void subscribe_at_broker(const std::string& name, Topic& topic);
  void announce();
  void take_reply(const std::string& correlation, Fields fields);
  void take_presence(const std::string& process, const std::string& payload);
  void take_sync();
  void tell(const Peers::Changes& changes);
  void settle();
  void take_leave(std::unique_lock<std::mutex>& lock);
  /// Until the link knows who is there, or that there is no broker.
  void wait_until_known(std::unique_lock<std::mutex>& lock);

  const std::string name_;
  const std::string reply_topic_;
  const std::string presence_topic_;
  const std::chrono::milliseconds grace_;

  std::mutex mutex_;
  std::condition_variable changed_;
  State state_ = State::connecting;
  std::map<std::string, Topic, std::less<>> topics_;
  std::set<int> unacknowledged_;  ///< subscriptions
  bool announcement_due_ = false;
  int farewell_ = 0;  ///< its number, until the broker has it
  std::vector<Listener> listeners_;
  std::vector<ListenerSink*> observers_;
  Peers peers_;
  std::optional<std::chrono::steady_clock::time_point> grace_end_;
  std::map<std::string, Waiting*> waiting_;
  std::uint64_t next_correlation_ = 1;
  MqttClient client_;
  Outbox outbox_;
};

}  // namespace devkit::bus
