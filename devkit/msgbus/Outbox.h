#pragma once

#include <deque>
#include <string>

#include "devkit/msgbus/MqttClient.h"

namespace devkit::bus {

/// What is on its way to the broker, in order, until the broker has acknowledged it: when the
/// connection is lost all of that goes again, so it may arrive twice but isn't lost. Only what
/// can't be sent at all is dropped. Used under its owner's lock.
class Outbox {
 public:
  explicit Outbox(MqttClient& client) : client_(client) {}

  void add(Publication publication);
  /// Opens it, once those who are to receive are there, or closes it.
  void open(bool open);
  void on_published(int number);
  /// What was underway waits again.
  void on_away();
  /// Takes out a request that nobody waits for any more, if it still lies here.
  void withdraw(const std::string& correlation);

  bool is_empty() const { return waiting_.empty() && underway_.empty(); }

 private:
  struct Sent {
    int number;
    Publication publication;
  };

  void pump();

  MqttClient& client_;
  std::deque<Publication> waiting_;
  std::deque<Sent> underway_;
  bool open_ = false;
  bool overflowing_ = false;
};

}  // namespace devkit::bus
