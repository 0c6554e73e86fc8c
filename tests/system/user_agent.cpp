#include <condition_variable>
#include <mutex>

#include "_base/win_error.h"
#include "connect/IProductAgentUserInfo.h"
#include "devkit/host/ProductAgent.h"
#include "devkit/host/User.h"
#include "system/OwnKit.h"

namespace kit_test {

namespace {

using devkit::ProductAgent;

/// Counts what it is told.
class Listener final : public IProductAgentEvents {
 public:
  void OnUserInfoChanged() override {
    std::unique_lock lock(mutex_);
    ++count_;
    changed_.notify_all();
    if (leaves_ != nullptr) {
      ProductAgent& agent = *std::exchange(leaves_, nullptr);
      lock.unlock();
      left_ = agent.UnregisterEvents(this);
    }
  }
  void ignored_1() override {}

  bool hears(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return count_ >= count; });
  }
  int count() {
    const std::lock_guard guard(mutex_);
    return count_;
  }
  void leave_when_called(ProductAgent& agent) { leaves_ = &agent; }
  std::uint32_t left() const { return left_; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
  ProductAgent* leaves_ = nullptr;
  std::atomic<std::uint32_t> left_ = ~0u;
};

class UserAgent : public testing::Test {
 protected:
  struct Known {
    std::uint32_t status;
    std::wstring device_id;
    std::wstring user_token;
    bool operator==(const Known&) const = default;
  };
  Known known() {
    IProductAgentUserInfo* info = nullptr;
    Known result = {agent.GetUserInfo(&info), {}, {}};
    EXPECT_EQ(info != nullptr, result.status == 0);
    if (info != nullptr) {
      result.device_id = info->GetDeviceId();
      result.user_token = info->GetUserToken();
      info->Release();
    }
    return result;
  }
  void write(const std::string& text) { folder.write("user.json", text); }

  const Folder folder;
  ProductAgent agent{folder.path() / "user.json"};
};

TEST_F(UserAgent, KnowsWhomItsFileNames) {
  write(devkit::to_text({"d\xC3\xA4", "t"}));
  EXPECT_EQ(known(), (Known{0, L"d\u00E4", L"t"}));
}

TEST_F(UserAgent, KnowsNobodyWithoutAFileOrAToken) {
  EXPECT_EQ(known().status, win_error::not_found);
  write("");
  EXPECT_EQ(known().status, win_error::not_found);
  write(devkit::to_text({"device", ""}));
  EXPECT_EQ(known().status, win_error::not_found);
  write(R"({"device_id":"device","user_token":null})");
  EXPECT_EQ(known().status, win_error::not_found);
}

TEST_F(UserAgent, SaysThatAFileMakesNoSense) {
  for (const char* const text : {"nonsense", "[]", R"({"user_token":7})", "{"}) {
    write(text);
    EXPECT_EQ(known().status, win_error::invalid_data) << text;
  }
}

TEST_F(UserAgent, TellsOfEachChangeAndOfNothingElse) {
  Listener listener;
  ASSERT_EQ(agent.RegisterEvents(&listener), 0u);
  EXPECT_EQ(agent.RegisterEvents(&listener), win_error::already_exists);
  EXPECT_EQ(agent.RegisterEvents(nullptr), win_error::invalid_parameter);
  write(devkit::to_text({"device", "one"}));
  EXPECT_TRUE(listener.hears(1));
  write(devkit::to_text({"device", "two"}));
  EXPECT_TRUE(listener.hears(2));
  EXPECT_EQ(known().user_token, L"two");
  EXPECT_EQ(agent.UnregisterEvents(&listener), 0u);
  EXPECT_EQ(agent.UnregisterEvents(&listener), win_error::not_found);

  Listener other;
  ASSERT_EQ(agent.RegisterEvents(&other), 0u);
  write(devkit::to_text({"device", "three"}));
  EXPECT_TRUE(other.hears(1));
  EXPECT_EQ(listener.count(), 2);
  EXPECT_EQ(agent.UnregisterEvents(&other), 0u);
}

TEST_F(UserAgent, LetsAnObserverGoFromWithinItsCall) {
  Listener listener;
  listener.leave_when_called(agent);
  ASSERT_EQ(agent.RegisterEvents(&listener), 0u);
  write(devkit::to_text({"device", "one"}));
  ASSERT_TRUE(listener.hears(1));
  // The agent's end waits for the running call.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (listener.left() == ~0u && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(listener.left(), 0u);
}

TEST_F(UserAgent, FailsOnDemand) {
  write(devkit::to_text({"device", "one"}));
  const Variable wish("SPLICE_HOST_FAIL", "GetUserInfo:5,RegisterEvents:6,UnregisterEvents:7");
  Listener listener;
  EXPECT_EQ(known().status, 5u);
  EXPECT_EQ(agent.RegisterEvents(&listener), 6u);
  EXPECT_EQ(agent.UnregisterEvents(&listener), 7u);
}

}  // namespace

}  // namespace kit_test
