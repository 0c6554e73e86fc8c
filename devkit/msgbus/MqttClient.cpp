#include "devkit/msgbus/MqttClient.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

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

/// What the library calls, on the client's thread.
struct MqttClient::Callbacks {
  static MqttClient& self(void* object) { return *static_cast<MqttClient*>(object); }

  static void connected(mosquitto* connection, void* object, int reason, int,
                        const mosquitto_property*) {
    if (reason != 0) return;  // the broker ends it now
    MqttClient& client = self(object);
    {
      const std::lock_guard guard(client.mutex_);
      client.connection_ = connection;
    }
    client.handler_.on_connected();
  }

  static void subscribed(mosquitto*, void* object, int number, int, const int*,
                         const mosquitto_property*) {
    self(object).handler_.on_subscribed(number);
  }

  static void published(mosquitto*, void* object, int number, int, const mosquitto_property*) {
    self(object).handler_.on_published(number);
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
    self(object).handler_.on_message(std::move(publication));
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
  leave();
}

void MqttClient::start() {
  thread_ = std::thread([this] { run(); });
}

void MqttClient::leave() {
  {
    const std::lock_guard guard(mutex_);
    if (!leaving_) {
      leaving_ = true;
      leave_limit_ = Clock::now() + leave_time;
      // With the will: an ordinary farewell would leave what we announced behind for ever.
      if (attempt_ != nullptr)
        mosquitto_disconnect_v5(attempt_, MQTT_RC_DISCONNECT_WITH_WILL_MSG, nullptr);
    }
  }
  leaving_signal_.notify_all();
  if (thread_.joinable()) thread_.join();
}

int MqttClient::subscribe(const std::string& topic) {
  const std::lock_guard guard(mutex_);
  int number = 0;
  if (connection_ == nullptr) return 0;
  const int status =
      mosquitto_subscribe_v5(connection_, &number, topic.c_str(), quality, 0, nullptr);
  return status == MOSQ_ERR_SUCCESS ? number : 0;
}

void MqttClient::unsubscribe(const std::string& topic) {
  const std::lock_guard guard(mutex_);
  if (connection_ != nullptr)
    mosquitto_unsubscribe_v5(connection_, nullptr, topic.c_str(), nullptr);
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
  if (status == MOSQ_ERR_SUCCESS) return number;
  if (status == MOSQ_ERR_NO_CONN || status == MOSQ_ERR_CONN_LOST) return 0;
  tell_unsendable(publication, status);
  return unsendable;
}

bool MqttClient::is_leaving() {
  const std::lock_guard guard(mutex_);
  return leaving_;
}

void MqttClient::run() {
  auto pause = first_pause;
  while (!is_leaving()) {
    pause = run_connection() ? first_pause : std::min(2 * pause, longest_pause);
    if (is_leaving()) return;
    handler_.on_away();
    const auto next_tick = handler_.on_tick();
    std::unique_lock lock(mutex_);
    leaving_signal_.wait_for(lock, std::min(pause, next_tick), [this] { return leaving_; });
  }
}

mosquitto* MqttClient::make_connection() {
  mosquitto* const connection = mosquitto_new(name_.c_str(), true, this);
  if (connection == nullptr) throw std::bad_alloc();
  mosquitto_int_option(connection, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
  mosquitto_int_option(connection, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_int_option(connection, MOSQ_OPT_RECEIVE_MAXIMUM, underway);
  mosquitto_int_option(connection, MOSQ_OPT_SEND_MAXIMUM, underway);
  mosquitto_threaded_set(connection, true);
  if (!will_topic_.empty())
    mosquitto_will_set_v5(connection, will_topic_.c_str(), 0, nullptr, quality, true, nullptr);
  mosquitto_connect_v5_callback_set(connection, Callbacks::connected);
  mosquitto_subscribe_v5_callback_set(connection, Callbacks::subscribed);
  mosquitto_publish_v5_callback_set(connection, Callbacks::published);
  mosquitto_message_v5_callback_set(connection, Callbacks::arrived);
  return connection;
}

bool MqttClient::run_connection() {
  mosquitto* const connection = make_connection();
  int status = mosquitto_connect_bind_v5(connection, broker_.host.c_str(), broker_.port,
                                         keepalive_seconds_, nullptr, nullptr);
  if (status == MOSQ_ERR_SUCCESS) {
    // A child that held on to it would keep us alive at the broker after our death.
    keep_from_children(mosquitto_socket(connection));
    const std::lock_guard guard(mutex_);
    attempt_ = connection;
    // Our leave came too early to end it.
    if (leaving_) status = MOSQ_ERR_CONN_LOST;
  }
  const auto accept_limit = Clock::now() + accept_time;
  while (status == MOSQ_ERR_SUCCESS) {
    const auto next_tick = std::min(handler_.on_tick(), longest_look);
    status = mosquitto_loop(connection, static_cast<int>(next_tick.count()), 1);
    const std::lock_guard guard(mutex_);
    // The system may take a connection for a broker that is just dying and never gets to it.
    if (connection_ == nullptr && Clock::now() > accept_limit) break;
    if (leaving_ && Clock::now() > leave_limit_) break;
  }

  bool stood = false;
  {
    const std::lock_guard guard(mutex_);
    stood = connection_ != nullptr;
    connection_ = nullptr;
    attempt_ = nullptr;
  }
  mosquitto_destroy(connection);
  return stood;
}

}  // namespace devkit::bus
