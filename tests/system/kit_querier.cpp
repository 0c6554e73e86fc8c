#include <atomic>
#include <condition_variable>
#include <mutex>

#include "_base/EqWorkItem.h"
#include "_base/waiting.h"
#include "devkit/common/FileWatcher.h"
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
    if (throws_) throw std::runtime_error("thrown by the listener");
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
  /// Before it is added.
  void throw_always() { throws_ = true; }
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
  bool throws_ = false;
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

TEST_F(KitQuerier, OutlivesAnObserverThatThrows) {
  Listener listener;
  listener.throw_always();
  EXPECT_TRUE(querier_.add_observer(&listener, 0));
  testing::internal::CaptureStderr();
  write("first");
  EXPECT_TRUE(listener.hears("first"));
  write("second");
  EXPECT_TRUE(listener.hears("second"));
  // From another thread than the one that calls it.
  EXPECT_TRUE(querier_.remove_observer(&listener, 0));
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("thrown by the listener"), std::string::npos) << said;
}

TEST_F(KitQuerier, RefusesObserversOnDemand) {
  Listener listener;
  {
    const Variable failing("SPLICE_HOST_FAIL", "add_observer:1");
    EXPECT_FALSE(querier_.add_observer(&listener, 0));
  }
  EXPECT_TRUE(querier_.add_observer(&listener, 0));
  EXPECT_TRUE(querier_.remove_observer(&listener, 0));
}

TEST(KitFiles, GiveTheReasonWhereTheyCannotBeRead) {
  const Folder folder;
  std::error_code reason;
  EXPECT_FALSE(devkit::read_file(folder.path() / "none", reason));
  EXPECT_EQ(reason, std::errc::no_such_file_or_directory);
  EXPECT_FALSE(devkit::read_file(folder.path(), reason));
  EXPECT_EQ(reason, std::errc::is_a_directory);
  const std::string long_text(100000, 'x');
  EXPECT_EQ(devkit::read_file(folder.write("long", long_text), reason), long_text);
  EXPECT_FALSE(reason);
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

TEST(KitSerialQueue, RefusesTasksOnDemand) {
  EndlessTask::Counts counts;
  devkit::SerialQueue queue;
  const Variable failing("SPLICE_HOST_FAIL", "enqueue_task:14");
  EqWorkItem* const task = new EndlessTask(queue, counts);
  EXPECT_EQ(queue.enqueue_task(L"refused", 0, task, 0, 0, 0), 14u);
  task->Release();
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
  for (const char* const wish : {"querier:1168", "execution:14", "enqueue_task:14"}) {
    const Variable failing("SPLICE_HOST_FAIL", wish);
    devkit::Host host(kit_.module());
    fail_once(host, wish);
    EXPECT_FALSE(is_refused(host, wish));
  }
}

TEST_F(ModuleConfiguration, IsOfNoUseInAHostThatLacksWhatTheModuleNeeds) {
  for (const char* const wish : {"get_plugin_manager:1", "get_execution_service:1"}) {
    const Variable failing("SPLICE_HOST_FAIL", wish);
    try {
      const devkit::Host host(kit_.module());
      ADD_FAILURE() << "the plug-in started with " << wish;
    } catch (const devkit::host_error& error) {
      EXPECT_NE(std::string(error.what()).find("status 87"), std::string::npos) << error.what();
    }
  }
}

}  // namespace

}  // namespace kit_test
