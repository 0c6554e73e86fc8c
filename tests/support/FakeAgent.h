#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "connect/IProductAgent.h"
#include "connect/IProductAgentEvents.h"
#include "connect/IProductAgentUserInfo.h"
#include "support/Receiver.h"

namespace support {

/// A Product Agent: knows the user it is told, records what it is asked. Any thread may call. At
/// first it knows the device "device" and the token "token".
///
/// Calls are lines in their order: "GetUserInfo", "RegisterEvents", "UnregisterEvents",
/// "not called <slot>", and "user info: not called 0".
class FakeAgent final : public IProductAgent {
 public:
  FakeAgent();
  FakeAgent(const FakeAgent&) = delete;
  FakeAgent& operator=(const FakeAgent&) = delete;
  ~FakeAgent();

  /// None: a null text.
  void set_user(std::optional<std::wstring> device_id, std::optional<std::wstring> user_token);
  /// GetUserInfo gives `status` and no object, until it is told 0.
  void fail_user_info(std::uint32_t status);
  void fail_registration(std::uint32_t status);
  /// Runs within every recorded call from now on, on its thread.
  void set_hook(std::function<void(const std::string& call)> hook);

  /// Calls OnUserInfoChanged of each that is registered, on this thread, whether or not the user
  /// changed. Gives how many there were. UnregisterEvents waits for such a call, unless it comes
  /// from there.
  std::size_t change();
  /// The other operation of those observers.
  std::size_t call_ignored();

  std::vector<std::string> calls() const;
  std::size_t count(const std::string& call) const;
  void forget_calls();
  std::vector<IProductAgentEvents*> registered() const;
  /// User infos that weren't released. Their texts are rubbish once they were.
  std::size_t user_infos_alive() const;
  /// Releases of a user info that was released already; 0 in good order.
  std::size_t surplus_releases() const;

  void not_called_0() override { record("not called 0"); }
  void not_called_1() override { record("not called 1"); }
  void not_called_2() override { record("not called 2"); }
  void not_called_3() override { record("not called 3"); }
  void not_called_4() override { record("not called 4"); }
  void not_called_5() override { record("not called 5"); }
  void not_called_6() override { record("not called 6"); }
  void not_called_7() override { record("not called 7"); }
  void not_called_8() override { record("not called 8"); }
  std::uint32_t GetUserInfo(IProductAgentUserInfo** info) override;
  void not_called_10() override { record("not called 10"); }
  void not_called_11() override { record("not called 11"); }
  void not_called_12() override { record("not called 12"); }
  void not_called_13() override { record("not called 13"); }
  std::uint32_t RegisterEvents(IProductAgentEvents* events) override;
  std::uint32_t UnregisterEvents(IProductAgentEvents* events) override;

 private:
  class UserInfo;
  struct Observer {
    explicit Observer(IProductAgentEvents* to) : events(to) {}
    IProductAgentEvents* events;
    Receiver receiver;
  };

  void record(const std::string& call);
  std::size_t tell(void (IProductAgentEvents::*operation)());

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::function<void(const std::string&)> hook_;
  std::optional<std::wstring> device_id_ = L"device";
  std::optional<std::wstring> user_token_ = L"token";
  std::uint32_t user_info_status_ = 0;
  std::uint32_t registration_status_ = 0;
  std::vector<std::unique_ptr<UserInfo>> user_infos_;  ///< all, so that late use shows
  std::size_t surplus_releases_ = 0;
  std::vector<std::shared_ptr<Observer>> observers_;
};

}  // namespace support
