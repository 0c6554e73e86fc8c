#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "devkit/msgbus/Address.h"
#include "devkit/msgbus/sockets.h"

struct mosquitto;
struct mqtt5__property;

namespace devkit::bus {

/// What is published, or arrives.
struct Publication {
  std::string topic;
  std::string payload;
  std::string response_topic;  ///< where a reply is to go; empty if none is wanted
  std::string correlation;     ///< of a request and its reply
  bool retain = false;
};

/// Told by an MqttClient within its turns, without any lock of its. Must not block: meanwhile
/// nothing is received, and before long the broker ends the connection.
class MqttHandler {
 public:
  /// A new connection, to which nothing is subscribed yet.
  virtual void on_connected() = 0;
  /// The connection is lost, or another attempt at one failed.
  virtual void on_away() = 0;
  virtual void on_subscribed(int number) = 0;
  virtual void on_published(int number) = 0;
  virtual void on_message(Publication message) = 0;
  /// Called again and again. Returns how long the next call may take to come, at most.
  virtual std::chrono::milliseconds on_tick() = 0;

 protected:
  ~MqttHandler() = default;
};

/// A connection to the broker that is made again whenever it is lost, each time from nothing: what
/// is to outlive a connection is the handler's affair. All goes with the same quality of service,
/// since messages of different ones overtake each other. It has no thread: somebody takes turns.
class MqttClient {
 public:
  /// `name` is this client's alone, everywhere and at all times. When the connection ends, however
  /// it ends, the broker empties the retained `will_topic`, if there is one. A side that freezes is
  /// given up after one and a half times, at most twice, SPLICE_BUS_KEEPALIVE seconds: at least 5,
  /// 0 for never, 60 without.
  MqttClient(Address broker, std::string name, std::string will_topic, MqttHandler& handler);
  MqttClient(const MqttClient&) = delete;
  MqttClient& operator=(const MqttClient&) = delete;
  /// Nobody takes a turn any more.
  ~MqttClient();

  /// Connects, if need be, or waits for something to arrive, for a while, and tells the handler.
  /// One thread at a time. False once it has left.
  bool take_turn();
  /// Ends the connection, for good, and waits until a turn has seen to that. Not within a turn.
  /// What was published but not yet acknowledged may be lost.
  void leave();

  /// The number that its acknowledgement will bear, unique within the connection as long as it is
  /// underway; 0 if there is no connection to the broker. The acknowledgement may come before the
  /// number is returned, so the handler needs a lock around both.
  int subscribe(const std::string& topic);
  /// `unsendable` if it can't go over any connection, above all for its size; standard error is
  /// told.
  int publish(const Publication& publication);
  static constexpr int unsendable = -1;
  /// Not acknowledged.
  void unsubscribe(const std::string& topic);

 private:
  struct Callbacks;

  using News = std::function<void(MqttHandler&)>;

  void connect();
  mosquitto* make_connection();
  /// Of what the broker sends one part, at least. False at the connection's end.
  bool receive();
  void tell_news();
  void drop_connection();
  // Under the lock.
  void write();
  bool is_at_end(int status);

  const Address broker_;
  const std::string name_;
  const std::string will_topic_;
  const int keepalive_seconds_;
  MqttHandler& handler_;

  SocketWait wait_;
  std::chrono::milliseconds pause_{0};  ///< before the next attempt
  std::vector<News> news_;              ///< what the library told within this turn

  /// Around all that the library does with a connection, but not around the handler, who publishes
  /// under locks of its own.
  std::mutex mutex_;
  std::condition_variable leaving_signal_;
  mosquitto* connection_ = nullptr;  ///< set while the broker has accepted us
  mosquitto* attempt_ = nullptr;     ///< the same one, or one on its way there
  std::chrono::steady_clock::time_point accept_limit_;
  bool leaving_ = false;
  bool has_left_ = false;
  std::chrono::steady_clock::time_point leave_limit_;
};

}  // namespace devkit::bus
