#include "devkit/host/ProductAgent.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "_base/win_error.h"
#include "connect/IProductAgentUserInfo.h"
#include "devkit/common/text.h"
#include "devkit/host/User.h"
#include "devkit/host/host_failure.h"

namespace devkit {

namespace {

class UserInfo final : public IProductAgentUserInfo {
 public:
  explicit UserInfo(const User& user)
      : device_id_(to_wide(user.device_id)), user_token_(to_wide(user.user_token)) {}

  void not_called_0() override {}
  void Release() override { delete this; }
  const wchar_t* GetDeviceId() override { return device_id_.c_str(); }
  const wchar_t* GetUserToken() override { return user_token_.c_str(); }

 private:
  const std::wstring device_id_;
  const std::wstring user_token_;
};

}  // namespace

ProductAgent::ProductAgent(std::filesystem::path user_file)
    : path_(std::move(user_file)), watcher_(path_, read_file(path_), [this](const auto&) {
        observers_.notify([](IProductAgentEvents& events) { events.OnUserInfoChanged(); });
      }) {}

std::uint32_t ProductAgent::GetUserInfo(IProductAgentUserInfo** info) {
  if (info == nullptr) return win_error::invalid_parameter;
  *info = nullptr;
  if (const std::uint32_t failure = host_failure("GetUserInfo")) return failure;
  try {
    const User user = parse_user(read_file(path_));
    if (!user.is_signed_in()) return win_error::not_found;
    *info = new UserInfo(user);
    return win_error::success;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s.\n", path_text(path_).c_str(), error.what());
    return win_error::invalid_data;
  }
}

std::uint32_t ProductAgent::RegisterEvents(IProductAgentEvents* events) {
  if (const std::uint32_t failure = host_failure("RegisterEvents")) return failure;
  if (events == nullptr) return win_error::invalid_parameter;
  return observers_.add(events, 0) ? win_error::success : win_error::already_exists;
}

std::uint32_t ProductAgent::UnregisterEvents(IProductAgentEvents* events) {
  if (const std::uint32_t failure = host_failure("UnregisterEvents")) return failure;
  return observers_.remove(events, 0) ? win_error::success : win_error::not_found;
}

}  // namespace devkit
