#include "support/FakeAgent.h"

#include <algorithm>
#include <utility>

#include "_base/win_error.h"

namespace support {

class FakeAgent::UserInfo final : public IProductAgentUserInfo {
 public:
  UserInfo(FakeAgent& agent, std::optional<std::wstring> device_id,
           std::optional<std::wstring> user_token)
      : agent_(agent), device_id_(std::move(device_id)), user_token_(std::move(user_token)) {}

  void not_called_0() override { agent_.record("user info: not called 0"); }
  void Release() override {
    const std::lock_guard lock(agent_.mutex_);
    if (!alive_) ++agent_.surplus_releases_;
    alive_ = false;
    for (std::optional<std::wstring>* const text : {&device_id_, &user_token_}) {
      if (*text) std::fill((*text)->begin(), (*text)->end(), L'#');
    }
  }
  const wchar_t* GetDeviceId() override { return pointer(device_id_); }
  const wchar_t* GetUserToken() override { return pointer(user_token_); }

  /// With the agent's lock held.
  bool is_alive() const noexcept { return alive_; }

 private:
  const wchar_t* pointer(const std::optional<std::wstring>& text) const {
    const std::lock_guard lock(agent_.mutex_);
    return text ? text->c_str() : nullptr;
  }

  FakeAgent& agent_;
  bool alive_ = true;
  std::optional<std::wstring> device_id_;
  std::optional<std::wstring> user_token_;
};

FakeAgent::FakeAgent() = default;
FakeAgent::~FakeAgent() = default;

void FakeAgent::set_user(std::optional<std::wstring> device_id,
                         std::optional<std::wstring> user_token) {
  const std::lock_guard lock(mutex_);
  device_id_ = std::move(device_id);
  user_token_ = std::move(user_token);
}

void FakeAgent::fail_user_info(std::uint32_t status) {
  const std::lock_guard lock(mutex_);
  user_info_status_ = status;
}

void FakeAgent::fail_registration(std::uint32_t status) {
  const std::lock_guard lock(mutex_);
  registration_status_ = status;
}

void FakeAgent::set_hook(std::function<void(const std::string& call)> hook) {
  const std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

std::size_t FakeAgent::change() {
  return tell(&IProductAgentEvents::OnUserInfoChanged);
}

std::size_t FakeAgent::call_ignored() {
  return tell(&IProductAgentEvents::ignored_1);
}

std::size_t FakeAgent::tell(void (IProductAgentEvents::*operation)()) {
  std::vector<std::shared_ptr<Observer>> told;
  {
    const std::lock_guard lock(mutex_);
    told = observers_;
  }
  std::size_t count = 0;
  for (const auto& observer : told) {
    if (observer->receiver.run([&] { (observer->events->*operation)(); })) ++count;
  }
  return count;
}

std::vector<std::string> FakeAgent::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::size_t FakeAgent::count(const std::string& call) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
}

void FakeAgent::forget_calls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

std::vector<IProductAgentEvents*> FakeAgent::registered() const {
  const std::lock_guard lock(mutex_);
  std::vector<IProductAgentEvents*> events;
  for (const auto& observer : observers_) events.push_back(observer->events);
  return events;
}

std::size_t FakeAgent::user_infos_alive() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(user_infos_.begin(), user_infos_.end(),
                                                [](const auto& info) { return info->is_alive(); }));
}

std::size_t FakeAgent::surplus_releases() const {
  const std::lock_guard lock(mutex_);
  return surplus_releases_;
}

std::uint32_t FakeAgent::GetUserInfo(IProductAgentUserInfo** info) {
  record("GetUserInfo");
  const std::lock_guard lock(mutex_);
  if (user_info_status_ != 0) return user_info_status_;
  user_infos_.push_back(std::make_unique<UserInfo>(*this, device_id_, user_token_));
  *info = user_infos_.back().get();
  return win_error::success;
}

std::uint32_t FakeAgent::RegisterEvents(IProductAgentEvents* events) {
  record("RegisterEvents");
  const std::lock_guard lock(mutex_);
  if (registration_status_ == 0) observers_.push_back(std::make_shared<Observer>(events));
  return registration_status_;
}

std::uint32_t FakeAgent::UnregisterEvents(IProductAgentEvents* events) {
  record("UnregisterEvents");
  std::shared_ptr<Observer> removed;
  {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(observers_.begin(), observers_.end(),
                                    [&](const auto& one) { return one->events == events; });
    if (found == observers_.end()) return win_error::not_found;
    removed = *found;
    observers_.erase(found);
  }
  removed->receiver.close();
  return win_error::success;
}

void FakeAgent::record(const std::string& call) {
  std::function<void(const std::string&)> hook;
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
    hook = hook_;
  }
  if (hook) hook(call);
}

}  // namespace support
