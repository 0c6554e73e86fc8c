#include "devkit/msgbus/MqttClient.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "devkit/msgbus/environment_number.h"
#include "devkit/msgbus/sockets.h"

namespace devkit::bus {

namespace {

constexpr int quality = 1;
/// A debugger's breakpoint looks like a frozen process, so it's long. Death is seen without it.
constexpr std::uint16_t usual_keepalive = 60;
/// The library refuses to connect with less.
constexpr std::uint16_t shortest_keepalive = 5;
/// What a packet's topic and properties take besides their texts, generously.
constexpr std::size_t packet_frame = 64;
/// Messages underway at a time, in each direction.
constexpr int underway = 1000;
constexpr std::chrono::milliseconds first_pause{20};
constexpr std::chrono::milliseconds longest_pause{300};
constexpr std::chrono::seconds leave_time{1};
/// From the connection to the broker's welcome.
constexpr std::chrono::seconds accept_time{1};
constexpr std::chrono::milliseconds longest_look{500};

using Clock = std::chrono::steady_clock;

/// Once per process, and for ever.
void prepare_library() {
  static const int prepared = mosquitto_lib_init();
  if (prepared != MOSQ_ERR_SUCCESS) throw std::bad_alloc();
}

std::uint16_t keepalive() {
  const std::uint16_t seconds = environment_number("SPLICE_BUS_KEEPALIVE", usual_keepalive);
  if (seconds == 0 || seconds >= shortest_keepalive) return seconds;
  std::fprintf(stderr, "SPLICE_BUS_KEEPALIVE: %d seconds are too short, so it's %d; %d would do.\n",
               seconds, usual_keepalive, shortest_keepalive);
  return usual_keepalive;
}

/// Asked before the library is: it finds out too late, and would keep what it can't send.
bool fits_packet(const Publication& publication) {
  const std::size_t size = publication.topic.size() + publication.payload.size() +
                           publication.response_topic.size() + publication.correlation.size();
  return size + packet_frame <= MQTT_MAX_PAYLOAD;
}

void tell_unsendable(const Publication& publication, int status) {
  std::fprintf(stderr, "the bus can't carry a message of %zu bytes on %s: %s\n",
               publication.payload.size(), publication.topic.c_str(), mosquitto_strerror(status));
}

class Properties {
 public:
  Properties() = default;
  Properties(const Properties&) = delete;
  Properties& operator=(const Properties&) = delete;
  ~Properties() { mosquitto_property_free_all(&list_); }

  void add(const Publication& publication) {
    if (!publication.response_topic.empty()) {
      check(mosquitto_property_add_string(&list_, MQTT_PROP_RESPONSE_TOPIC,
                                          publication.response_topic.c_str()));
    }
    if (!publication.correlation.empty()) {
      check(mosquitto_property_add_binary(
          &list_, MQTT_PROP_CORRELATION_DATA, publication.correlation.data(),
          static_cast<std::uint16_t>(publication.correlation.size())));
    }
  }
  const mosquitto_property* get() const { return list_; }

 private:
  static void check(int status) {
    if (status != MOSQ_ERR_SUCCESS) throw std::bad_alloc();
  }

  mosquitto_property* list_ = nullptr;
};

std::string response_topic(const mosquitto_property* properties) {
  char* text = nullptr;
  mosquitto_property_read_string(properties, MQTT_PROP_RESPONSE_TOPIC, &text, false);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return text != nullptr ? text : "";
}

std::string correlation(const mosquitto_property* properties) {
  void* data = nullptr;
  std::uint16_t size = 0;
  mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size, false);
  const std::unique_ptr<void, decltype(&std::free)> owner(data, &std::free);
  return data != nullptr ? std::string(static_cast<const char*>(data), size) : std::string();
}

}  // namespace

/// What the library calls, under the lock, so it is only written down.
struct MqttClient::Callbacks {
  static void note(void* client, News news) {
    static_cast<MqttClient*>(client)->news_.push_back(std::move(news));
  }

  static void connected(mosquitto* connection, void* object, int reason, int,
                        const mosquitto_property*) {
    if (reason != 0) return;  // the broker ends it now
    static_cast<MqttClient*>(object)->connection_ = connection;
    note(object, [](MqttHandler& handler) { handler.on_connected(); });
  }

  static void subscribed(mosquitto*, void* object, int number, int, const int*,
                         const mosquitto_property*) {
    note(object, [number](MqttHandler& handler) { handler.on_subscribed(number); });
  }

  static void published(mosquitto*, void* object, int number, int, const mosquitto_property*) {
    note(object, [number](MqttHandler& handler) { handler.on_published(number); });
  }

  static void arrived(mosquitto*, void* object, const mosquitto_message* message,
                      const mosquitto_property* properties) {
    Publication publication;
    publication.topic = message->topic;
    if (message->payloadlen > 0) {
      publication.payload.assign(static_cast<const char*>(message->payload),
                                 static_cast<std::size_t>(message->payloadlen));
    }
    publication.response_topic = response_topic(properties);
    publication.correlation = correlation(properties);
    publication.retain = message->retain;
    note(object, [publication = std::move(publication)](MqttHandler& handler) mutable {
      handler.on_message(std::move(publication));
    });
  }
};

MqttClient::MqttClient(Address broker, std::string name, std::string will_topic,
                       MqttHandler& handler)
    : broker_(std::move(broker)),
      name_(std::move(name)),
      will_topic_(std::move(will_topic)),
      keepalive_seconds_(keepalive()),
      handler_(handler) {
  prepare_library();
}

MqttClient::~MqttClient() {
  mosquitto_destroy(attempt_);
}

void MqttClient::leave() {
  std::unique_lock lock(mutex_);
  if (!leaving_) {
    leaving_ = true;
    leave_limit_ = Clock::now() + leave_time;
    // With the will: an ordinary farewell would leave what we announced behind for ever.
    if (attempt_ != nullptr)
      mosquitto_disconnect_v5(attempt_, MQTT_RC_DISCONNECT_WITH_WILL_MSG, nullptr);
  }
  wait_.wake();
  leaving_signal_.notify_all();
  leaving_signal_.wait(lock, [this] { return has_left_; });
}

int MqttClient::subscribe(const std::string& topic) {
  const std::lock_guard guard(mutex_);
  int number = 0;
  if (connection_ == nullptr) return 0;
  const int status =
      mosquitto_subscribe_v5(connection_, &number, topic.c_str(), quality, 0, nullptr);
  write();
  return status == MOSQ_ERR_SUCCESS ? number : 0;
}

void MqttClient::unsubscribe(const std::string& topic) {
  const std::lock_guard guard(mutex_);
  if (connection_ == nullptr) return;
  mosquitto_unsubscribe_v5(connection_, nullptr, topic.c_str(), nullptr);
  write();
}

int MqttClient::publish(const Publication& publication) {
  if (!fits_packet(publication)) {
    tell_unsendable(publication, MOSQ_ERR_PAYLOAD_SIZE);
    return unsendable;
  }
  Properties properties;
  properties.add(publication);
  const std::lock_guard guard(mutex_);
  int number = 0;
  if (connection_ == nullptr) return 0;
  const int status = mosquitto_publish_v5(
      connection_, &number, publication.topic.c_str(), static_cast<int>(publication.payload.size()),
      publication.payload.data(), quality, publication.retain, properties.get());
  write();
  if (status == MOSQ_ERR_SUCCESS) return number;
  if (status == MOSQ_ERR_NO_CONN || status == MOSQ_ERR_CONN_LOST) return 0;
  tell_unsendable(publication, status);
  return unsendable;
}

/// At once, so that nobody has to be woken for it. What the system doesn't take, and the
/// connection's end, are for who takes the turns.
void MqttClient::write() {
  if (mosquitto_loop_write(connection_, 1) != MOSQ_ERR_SUCCESS || mosquitto_want_write(connection_))
    wait_.wake();
}

bool MqttClient::take_turn() {
  if (attempt_ == nullptr) connect();
  const bool goes_on = attempt_ != nullptr && receive();
  tell_news();
  if (goes_on) return true;
  drop_connection();
  if (has_left_) return false;
  handler_.on_away();
  return true;
}

void MqttClient::connect() {
  {
    const auto limit = std::min(pause_, handler_.on_tick());
    std::unique_lock lock(mutex_);
    if (leaving_signal_.wait_for(lock, limit, [this] { return leaving_; })) return;
  }
  mosquitto* const connection = make_connection();
  const int status = mosquitto_connect_bind_v5(connection, broker_.host.c_str(), broker_.port,
                                               keepalive_seconds_, nullptr, nullptr);
  if (status != MOSQ_ERR_SUCCESS) return mosquitto_destroy(connection);
  // A child that held on to it would keep us alive at the broker after our death.
  keep_from_children(mosquitto_socket(connection));
  const std::lock_guard guard(mutex_);
  // The leave came too early to end it.
  if (leaving_) return mosquitto_destroy(connection);
  attempt_ = connection;
  accept_limit_ = Clock::now() + accept_time;
}

mosquitto* MqttClient::make_connection() {
  mosquitto* const connection = mosquitto_new(name_.c_str(), true, this);
  if (connection == nullptr) throw std::bad_alloc();
  mosquitto_int_option(connection, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
  mosquitto_int_option(connection, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_int_option(connection, MOSQ_OPT_RECEIVE_MAXIMUM, underway);
  mosquitto_int_option(connection, MOSQ_OPT_SEND_MAXIMUM, underway);
  // With it the library only queues what is to be sent: we say when it writes.
  mosquitto_threaded_set(connection, true);
  if (!will_topic_.empty())
    mosquitto_will_set_v5(connection, will_topic_.c_str(), 0, nullptr, quality, true, nullptr);
  mosquitto_connect_v5_callback_set(connection, Callbacks::connected);
  mosquitto_subscribe_v5_callback_set(connection, Callbacks::subscribed);
  mosquitto_publish_v5_callback_set(connection, Callbacks::published);
  mosquitto_message_v5_callback_set(connection, Callbacks::arrived);
  return connection;
}

bool MqttClient::receive() {
  const auto limit = std::min(handler_.on_tick(), longest_look);
  std::unique_lock lock(mutex_);
  int status = MOSQ_ERR_SUCCESS;
  // Above all the acknowledgements of what the last turn brought, for which nobody has to wait.
  if (mosquitto_want_write(attempt_)) status = mosquitto_loop_write(attempt_, 1);
  if (is_at_end(status)) return false;
  const int socket = mosquitto_socket(attempt_);
  const bool is_held_up = mosquitto_want_write(attempt_);
  lock.unlock();
  const bool is_readable = wait_.is_readable(socket, is_held_up, limit);
  lock.lock();
  if (is_readable) status = mosquitto_loop_read(attempt_, 1);
  if (status == MOSQ_ERR_SUCCESS) status = mosquitto_loop_misc(attempt_);
  return !is_at_end(status);
}

bool MqttClient::is_at_end(int status) {
  // It may have ended while something was published.
  if (status != MOSQ_ERR_SUCCESS || mosquitto_socket(attempt_) < 0) return true;
  // The system may take a connection for a broker that is just dying and never gets to it.
  if (connection_ == nullptr && Clock::now() > accept_limit_) return true;
  return leaving_ && Clock::now() > leave_limit_;
}

void MqttClient::tell_news() {
  for (const News& news : std::exchange(news_, {})) news(handler_);
}

void MqttClient::drop_connection() {
  const std::lock_guard guard(mutex_);
  const bool stood = connection_ != nullptr;
  pause_ = stood ? first_pause : std::clamp(2 * pause_, first_pause, longest_pause);
  mosquitto_destroy(attempt_);
  connection_ = nullptr;
  attempt_ = nullptr;
  has_left_ = leaving_;
  leaving_signal_.notify_all();
}

}  // namespace devkit::bus
