#include <atomic>
#include <condition_variable>
#include <mutex>

#include "_base/EqWorkItem.h"
#include "_base/waiting.h"
#include "devkit/host/GuardianQuerier.h"
#include "devkit/host/Host.h"
#include "devkit/host/SerialQueue.h"
#include "system/OwnKit.h"

namespace kit_test {

namespace {

constexpr auto patience = std::chrono::seconds(30);

/// Remembers what it was told, and can be held in the middle of a call.
class Listener final : public ICloudGuardianSettingsObserver {
 public:
  void* scalar_deleting_destructor(std::uint32_t) override { return this; }
  void OnSettingsChanged(const char* settings) override {
    std::unique_lock lock(mutex_);
    texts_.emplace_back(settings);
    changed_.notify_all();
    if (removes_itself_from_ != nullptr) {
      devkit::GuardianQuerier& querier = *std::exchange(removes_itself_from_, nullptr);
      lock.unlock();
      const bool removed = querier.remove_observer(this, 7);
      lock.lock();
      removed_ = removed;
    }
    changed_.wait(lock, [&] { return !held_; });
    ended_ = true;
    changed_.notify_all();
  }

  bool hears(const std::string& text) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience,
                             [&] { return !texts_.empty() && texts_.back() == text; });
  }
  bool ends() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return ended_; });
  }
  void hold(bool held) {
    const std::lock_guard guard(mutex_);
    held_ = held;
    changed_.notify_all();
  }
  void remove_itself_from(devkit::GuardianQuerier& querier) { removes_itself_from_ = &querier; }
  bool removed() {
    const std::lock_guard guard(mutex_);
    return removed_;
  }
  bool ended() {
    const std::lock_guard guard(mutex_);
    return ended_;
  }
  std::vector<std::string> texts() {
    const std::lock_guard guard(mutex_);
    return texts_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> texts_;
  bool held_ = false;
  bool ended_ = false;
  bool removed_ = false;
  devkit::GuardianQuerier* removes_itself_from_ = nullptr;
};

class KitQuerier : public testing::Test {
 protected:
  std::string settings() {
    zv::StringT<char> text("something old");
    querier_.get_settings(text);
    return std::string(text.view());
  }
  void write(const std::string& text) { folder_.write("config.json", text); }

  const Folder folder_;
  devkit::GuardianQuerier querier_{folder_.path() / "config.json"};
};

TEST_F(KitQuerier, GivesItsFilesTextOrNone) {
  EXPECT_EQ(settings(), "");
  write("{\"n\":\"\xC3\xA4\"}");
  EXPECT_EQ(settings(), "{\"n\":\"\xC3\xA4\"}");
}

TEST_F(KitQuerier, TellsOfEachNewText) {
  Listener listener;
  EXPECT_TRUE(querier_.add_observer(&listener, 0));
  EXPECT_FALSE(querier_.add_observer(&listener, 1));
  write("first");
  EXPECT_TRUE(listener.hears("first"));
  write("other");
  EXPECT_TRUE(listener.hears("other"));
  EXPECT_FALSE(querier_.remove_observer(&listener, 1));
  EXPECT_TRUE(querier_.remove_observer(&listener, 0));
  EXPECT_FALSE(querier_.remove_observer(&listener, 0));
}

TEST_F(KitQuerier, SaysNothingOfAFileThatIsEmptyOrGone) {
  Listener listener;
  EXPECT_TRUE(querier_.add_observer(&listener, 0));
  write("first");
  EXPECT_TRUE(listener.hears("first"));
  write("");
  EXPECT_EQ(settings(), "");
  std::filesystem::remove(folder_.path() / "config.json");
  write("second");
  EXPECT_TRUE(listener.hears("second"));
  EXPECT_TRUE(querier_.remove_observer(&listener, 0));
  EXPECT_EQ(listener.texts(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(KitQuerier, WaitsForARunningCallBeforeItLetsAnObserverGo) {
  Listener listener;
  EXPECT_TRUE(querier_.add_observer(&listener, 0));
  listener.hold(true);
  write("first");
  EXPECT_TRUE(listener.hears("first"));
  std::atomic<bool> removing = false;
  std::thread remover([&] {
    removing = true;
    EXPECT_TRUE(querier_.remove_observer(&listener, 0));
    EXPECT_TRUE(listener.ended());
  });
  EXPECT_TRUE(waiting::until([&] { return removing.load(); }));
  listener.hold(false);
  remover.join();
}

TEST_F(KitQuerier, LetsAnObserverGoInItsOwnCall) {
  Listener listener;
  listener.remove_itself_from(querier_);
  EXPECT_TRUE(querier_.add_observer(&listener, 7));
  write("first");
  EXPECT_TRUE(listener.ends());
  EXPECT_TRUE(listener.removed());
}

/// Each task puts the next one into the queue, so that there is always one that hasn't run.
class EndlessTask final : public EqWorkItem {
 public:
  struct Counts {
    std::atomic<int> made = 0;
    std::atomic<int> executed = 0;
    std::atomic<int> released = 0;
  };
  EndlessTask(devkit::SerialQueue& queue, Counts& counts) : queue_(queue), counts_(counts) {
    ++counts_.made;
  }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }
  void Release() override {
    ++counts_.released;
    delete this;
  }
  void Execute() override {
    EXPECT_EQ(queue_.enqueue_task(L"next", 0, new EndlessTask(queue_, counts_), 0, 0, 0), 0u);
    ++counts_.executed;
  }

 private:
  devkit::SerialQueue& queue_;
  Counts& counts_;
};

TEST(KitSerialQueue, ReleasesTheTasksThatItNoLongerRuns) {
  EndlessTask::Counts counts;
  {
    devkit::SerialQueue queue;
    EXPECT_EQ(queue.enqueue_task(L"first", 0, new EndlessTask(queue, counts), 0, 0, 0), 0u);
    EXPECT_TRUE(waiting::until([&] { return counts.executed > 3; }));
  }
  EXPECT_EQ(counts.made, counts.executed + 1);
  EXPECT_EQ(counts.released, counts.made);
}

/// The module in a host whose guardian follows a file.
class ModuleConfiguration : public testing::Test {
 protected:
  void configure(int threshold) {
    const nlohmann::json config = {{"circuit_config", OwnKit::circuit_config(threshold, 3600)}};
    kit_.write("guardian_config.json", config.dump());
  }
  void fail_once(devkit::Host& host, const char* service) {
    devkit::Fault failure = fault("error");
    failure.count = 1;
    failure.service = service;
    cloud_.faults().add(failure);
    EXPECT_TRUE(host.technology(service, "{}", 20000).is_ok()) << service;
  }
  bool is_refused(devkit::Host& host, const char* service) {
    const devkit::Outcome outcome = host.technology(service, "{}", 20000);
    return outcome.error_type == 1 && outcome.code == 5;
  }

  devkit::Cloud cloud_{{}};
  const OwnKit kit_;
  const Variable address_{"SPLICE_CLOUD", cloud_.address()};
};

TEST_F(ModuleConfiguration, ComesFromTheFileAtStartAndWheneverThatChanges) {
  configure(1);
  devkit::Host host(kit_.module());
  // Fetched on the host's queue, so not there yet for certain.
  int number = 0;
  EXPECT_TRUE(waiting::until([&] {
    const std::string service = "service/" + std::to_string(number++);
    fail_once(host, service.c_str());
    return is_refused(host, service.c_str());
  }));

  fail_once(host, "connect/echo");
  EXPECT_TRUE(is_refused(host, "connect/echo"));
  configure(2);
  EXPECT_TRUE(waiting::until([&] { return !is_refused(host, "connect/echo"); }));
  fail_once(host, "connect/echo");
  EXPECT_FALSE(is_refused(host, "connect/echo"));
}

TEST_F(ModuleConfiguration, IsThePackagedOneInAHostWithoutAQuerier) {
  configure(1);
  for (const char* const wish : {"querier:1168", "execution:14"}) {
    const Variable failing("SPLICE_HOST_FAIL", wish);
    devkit::Host host(kit_.module());
    fail_once(host, wish);
    EXPECT_FALSE(is_refused(host, wish));
  }
}

}  // namespace

}  // namespace kit_test
