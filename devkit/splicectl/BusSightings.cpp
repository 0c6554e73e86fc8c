#include "devkit/splicectl/BusSightings.h"

#include <cstdio>

namespace devkit {

namespace {

constexpr std::chrono::seconds patience(10);

}  // namespace

void warn_without_broker(const bus::Address& broker) {
  try {
    BusSightings(broker).listeners();
  } catch (const no_broker& error) {
    std::fprintf(stderr, "splicectl: %s. This process joins as soon as there is one.\n",
                 error.what());
  }
}

BusSightings::BusSightings(const bus::Address& broker)
    : broker_(broker), watch_(broker, [this](const bus::Sighting& sighting) {
        const std::lock_guard guard(mutex_);
        waiting_.push_back(sighting);
        changed_.notify_all();
      }) {}

std::optional<bus::Sighting> BusSightings::next(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, limit, [&] { return !waiting_.empty(); })) return std::nullopt;
  bus::Sighting sighting = std::move(waiting_.front());
  waiting_.pop_front();
  if (sighting.kind == bus::Sighting::Kind::connected) was_there_ = true;
  if (sighting.kind == bus::Sighting::Kind::away && !was_there_) throw missing();
  return sighting;
}

std::vector<bus::Sighting> BusSightings::listeners() {
  std::vector<bus::Sighting> found;
  while (const auto sighting = next(patience)) {
    if (sighting->kind == bus::Sighting::Kind::caught_up) return found;
    if (sighting->kind == bus::Sighting::Kind::listener_added) found.push_back(*sighting);
  }
  throw missing();
}

no_broker BusSightings::missing() const {
  return no_broker("no broker answers at " + broker_.text() +
                   "; start one with \"splicectl broker\", or name another with --broker");
}

}  // namespace devkit
