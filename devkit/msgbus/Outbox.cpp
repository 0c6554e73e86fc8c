#include "devkit/msgbus/Outbox.h"

#include <algorithm>
#include <cstdio>

namespace devkit::bus {

namespace {

constexpr std::size_t most_underway = 1000;
/// What a process may pile up while there is no broker. Beyond it the oldest are lost.
constexpr std::size_t most_waiting = 100'000;

}  // namespace

void Outbox::add(Publication publication) {
  waiting_.push_back(std::move(publication));
  pump();
  if (waiting_.size() <= most_waiting || open_) return;
  waiting_.pop_front();
  if (!overflowing_) std::fprintf(stderr, "the bus has no broker, and messages get lost\n");
  overflowing_ = true;
}

void Outbox::open(bool open) {
  open_ = open;
  if (open_) overflowing_ = false;
  pump();
}

void Outbox::pump() {
  while (open_ && !waiting_.empty() && underway_.size() < most_underway) {
    const int number = client_.publish(waiting_.front());
    // The connection is lost; we are going to be told.
    if (number == 0) return;
    // Kept, it would hold up all behind it for ever.
    if (number != MqttClient::unsendable)
      underway_.push_back({number, std::move(waiting_.front())});
    waiting_.pop_front();
  }
}

void Outbox::on_published(int number) {
  const auto sent = std::find_if(underway_.begin(), underway_.end(),
                                 [&](const Sent& entry) { return entry.number == number; });
  if (sent == underway_.end()) return;
  underway_.erase(sent);
  pump();
}

void Outbox::on_away() {
  open_ = false;
  for (; !underway_.empty(); underway_.pop_back())
    waiting_.push_front(std::move(underway_.back().publication));
}

void Outbox::withdraw(const std::string& correlation) {
  const auto request =
      std::find_if(waiting_.begin(), waiting_.end(), [&](const Publication& publication) {
        return !publication.response_topic.empty() && publication.correlation == correlation;
      });
  if (request != waiting_.end()) waiting_.erase(request);
}

}  // namespace devkit::bus
