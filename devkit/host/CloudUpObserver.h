#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "cloud/ICloudConnectionObserver.h"

namespace devkit {

/// Counts how often the cloud was said to be up. Owned by who made it, never by the module.
class CloudUpObserver final : public cloud::ICloudConnectionObserver {
 public:
  void* scalar_deleting_destructor(std::uint32_t) override { return this; }

  void OnNetworkAvailable() override {
    const std::lock_guard guard(mutex_);
    ++count_;
    changed_.notify_all();
  }

  std::uint32_t count() const {
    const std::lock_guard guard(mutex_);
    return count_;
  }

  /// False if the count is still at or below `seen` when the time is over.
  bool wait_beyond(std::uint32_t seen, std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return count_ > seen; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::uint32_t count_ = 0;
};

}  // namespace devkit
