#pragma once

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "devkit/msgbus/Address.h"

namespace bench {

/// What a reply needs, and what a request says of it.
struct ReplyTo {
  std::string topic;
  std::string correlation;
};

/// The floor of all that goes over the bus: a connection to its broker by the bare library, with
/// the bus's own settings.
class BareMqtt {
 public:
  struct Arrived {
    std::string_view topic;
    std::string_view payload;
    const mosquitto_property* properties;

    ReplyTo reply_to() const {
      char* topic_text = nullptr;
      void* data = nullptr;
      std::uint16_t size = 0;
      mosquitto_property_read_string(properties, MQTT_PROP_RESPONSE_TOPIC, &topic_text, false);
      mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &size, false);
      const std::unique_ptr<char, decltype(&std::free)> topic_owner(topic_text, &std::free);
      const std::unique_ptr<void, decltype(&std::free)> data_owner(data, &std::free);
      return {topic_text != nullptr ? topic_text : "",
              data != nullptr ? std::string(static_cast<const char*>(data), size) : ""};
    }
  };
  /// Called on the connection's thread.
  using OnMessage = std::function<void(BareMqtt& self, const Arrived& message)>;

  /// Connected when this returns. Throws std::runtime_error.
  BareMqtt(const devkit::bus::Address& broker, OnMessage on_message)
      : on_message_(std::move(on_message)) {
    static const int prepared = mosquitto_lib_init();
    check(prepared);
    connection_ = mosquitto_new(nullptr, true, this);
    if (connection_ == nullptr) throw std::bad_alloc();
    mosquitto_int_option(connection_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(connection_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(connection_, MOSQ_OPT_RECEIVE_MAXIMUM, underway);
    mosquitto_int_option(connection_, MOSQ_OPT_SEND_MAXIMUM, underway);
    mosquitto_connect_v5_callback_set(
        connection_, [](mosquitto*, void* self, int reason, int, const mosquitto_property*) {
          if (reason == 0) static_cast<BareMqtt*>(self)->tell(&BareMqtt::connected_);
        });
    mosquitto_subscribe_v5_callback_set(
        connection_, [](mosquitto*, void* self, int, int, const int*, const mosquitto_property*) {
          static_cast<BareMqtt*>(self)->tell(&BareMqtt::subscribed_);
        });
    mosquitto_message_v5_callback_set(
        connection_, [](mosquitto*, void* object, const mosquitto_message* message,
                        const mosquitto_property* properties) {
          auto& self = *static_cast<BareMqtt*>(object);
          self.on_message_(self, {message->topic,
                                  {static_cast<const char*>(message->payload),
                                   static_cast<std::size_t>(message->payloadlen)},
                                  properties});
        });
    check(mosquitto_connect_bind_v5(connection_, broker.host.c_str(), broker.port,
                                    keepalive_seconds, nullptr, nullptr));
    check(mosquitto_loop_start(connection_));
    wait_for(&BareMqtt::connected_);
  }
  BareMqtt(const BareMqtt&) = delete;
  BareMqtt& operator=(const BareMqtt&) = delete;
  ~BareMqtt() {
    mosquitto_disconnect_v5(connection_, 0, nullptr);
    mosquitto_loop_stop(connection_, false);
    mosquitto_destroy(connection_);
  }

  /// The broker knows when this returns. Not on the connection's thread.
  void subscribe(const std::string& topic) {
    {
      const std::lock_guard guard(mutex_);
      subscribed_ = false;
    }
    check(mosquitto_subscribe_v5(connection_, nullptr, topic.c_str(), quality, 0, nullptr));
    wait_for(&BareMqtt::subscribed_);
  }

  void publish(const std::string& topic, std::string_view payload) {
    publish(topic, payload, nullptr);
  }

  void request(const std::string& topic, std::string_view payload, const ReplyTo& reply_to) {
    mosquitto_property* properties = with_correlation(reply_to.correlation);
    check(mosquitto_property_add_string(&properties, MQTT_PROP_RESPONSE_TOPIC,
                                        reply_to.topic.c_str()));
    publish(topic, payload, properties);
    mosquitto_property_free_all(&properties);
  }

  void reply(const ReplyTo& to, std::string_view payload) {
    mosquitto_property* properties = with_correlation(to.correlation);
    publish(to.topic, payload, properties);
    mosquitto_property_free_all(&properties);
  }

 private:
  static constexpr int quality = 1;
  static constexpr int keepalive_seconds = 60;
  static constexpr int underway = 1000;
  static constexpr std::chrono::seconds patience{60};

  static void check(int status) {
    if (status != MOSQ_ERR_SUCCESS) throw std::runtime_error(mosquitto_strerror(status));
  }

  static mosquitto_property* with_correlation(const std::string& correlation) {
    mosquitto_property* properties = nullptr;
    check(mosquitto_property_add_binary(&properties, MQTT_PROP_CORRELATION_DATA, correlation.data(),
                                        static_cast<std::uint16_t>(correlation.size())));
    return properties;
  }

  void publish(const std::string& topic, std::string_view payload,
               const mosquitto_property* properties) {
    check(mosquitto_publish_v5(connection_, nullptr, topic.c_str(),
                               static_cast<int>(payload.size()), payload.data(), quality, false,
                               properties));
  }

  void tell(bool BareMqtt::*what) {
    const std::lock_guard guard(mutex_);
    this->*what = true;
    changed_.notify_all();
  }
  void wait_for(bool BareMqtt::*what) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, patience, [&] { return this->*what; }))
      throw std::runtime_error("the broker doesn't answer");
  }

  const OnMessage on_message_;
  mosquitto* connection_ = nullptr;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool connected_ = false;   ///< guarded by mutex_
  bool subscribed_ = false;  ///< guarded by mutex_
};

}  // namespace bench
