#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

#include "devkit/msgbus/Watch.h"

namespace devkit {

/// There is no broker at the address.
class no_broker : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Says on standard error that no broker answers, if so; whoever goes on without one would
/// otherwise look as if all were well. Waits until that is known.
void warn_without_broker(const bus::Address& broker);

/// What happens on the bus, one after the other, for a thread that asks for it.
class BusSightings {
 public:
  explicit BusSightings(const bus::Address& broker);
  BusSightings(const BusSightings&) = delete;
  BusSightings& operator=(const BusSightings&) = delete;
  ~BusSightings() = default;

  /// The next one; null if none comes in the time. Throws no_broker if there is none at the first
  /// look; one that goes later is a sighting like others.
  std::optional<bus::Sighting> next(std::chrono::milliseconds limit);
  /// Takes all up to the moment when everything that was there has been told, and gives the
  /// listeners among them. Throws no_broker as well if that moment doesn't come.
  std::vector<bus::Sighting> listeners();

 private:
  no_broker missing() const;

  const bus::Address broker_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<bus::Sighting> waiting_;
  bool was_there_ = false;  ///< the asking thread's alone
  bus::Watch watch_;        ///< last: its thread uses the others
};

}  // namespace devkit
