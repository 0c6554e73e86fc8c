#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "_base/win_error.h"
#include "connect/IAuthDataProvider.h"

namespace support {

/// Knows the user it is told; at first the device "device" and the token "token". Any thread may
/// call.
class FakeAuthProvider final : public IAuthDataProvider {
 public:
  FakeAuthProvider() = default;
  FakeAuthProvider(const FakeAuthProvider&) = delete;
  FakeAuthProvider& operator=(const FakeAuthProvider&) = delete;
  ~FakeAuthProvider() = default;

  /// GetAuthData gives 0 and these.
  void set_user(std::string device_id, std::string user_token) {
    const std::lock_guard lock(mutex_);
    status_ = win_error::success;
    device_id_ = std::move(device_id);
    user_token_ = std::move(user_token);
  }
  /// GetAuthData gives 232 and touches nothing.
  void forget_user() {
    const std::lock_guard lock(mutex_);
    status_ = win_error::no_data;
  }
  /// Runs within every GetAuthData from now on, on its thread.
  void set_hook(std::function<void()> hook) {
    const std::lock_guard lock(mutex_);
    hook_ = std::move(hook);
  }

  std::size_t asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
  }
  /// What the last caller brought to be filled.
  std::uint64_t capacity_brought() const {
    const std::lock_guard lock(mutex_);
    return capacity_brought_;
  }

  std::uint32_t GetAuthData(auth_data& data) override {
    std::function<void()> hook;
    {
      const std::lock_guard lock(mutex_);
      hook = hook_;
    }
    if (hook) hook();
    const std::lock_guard lock(mutex_);
    ++asked_;
    capacity_brought_ = std::min(data.device_id.Capacity(), data.user_token.Capacity());
    if (status_ != win_error::success) return status_;
    data.device_id = device_id_.c_str();
    data.user_token = user_token_.c_str();
    return status_;
  }

 private:
  mutable std::mutex mutex_;
  std::uint32_t status_ = win_error::success;
  std::string device_id_ = "device";
  std::string user_token_ = "token";
  std::function<void()> hook_;
  std::size_t asked_ = 0;
  std::uint64_t capacity_brought_ = 0;
};

}  // namespace support
