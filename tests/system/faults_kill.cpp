// Processes that die with the lock in their hands. The others must go on, and what lies in the
// services file must be what was there before, what should have come, or something that a reader
// passes over.
//
// 14 die, or SPLICE_CAMPAIGN times as many.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "guardian/circuit_breaker.h"
#include "guardian/file_lock.h"
#include "platform/library.h"
#include "platform/seam.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"
#include "support/campaign.h"
#include "support/guardian_inside.h"

namespace {

using cloud::guardian::circuit_breaker;
using devkit::os::environment;
using support::GuardianFolder;

/// Where a process dies.
enum class Step { reading, before_write, opening, truncated, half_written, after_write, anywhere };
constexpr std::array names = {"reading",      "before_write", "opening", "truncated",
                              "half_written", "after_write",  "anywhere"};

constexpr const wchar_t* services_name = L"services.json";

/// Tells the other process, and stays where it is.
[[noreturn]] void await_death() {
  std::cout << "ready" << std::endl;
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

/// Stops the process at its step, with the lock in its hands.
class VictimsSeam final : public platform::Seam {
 public:
  VictimsSeam(std::filesystem::path module, std::filesystem::path services)
      : module_(std::move(module)), services_(std::move(services)) {
    platform::set_seam(this);
  }
  VictimsSeam(const VictimsSeam&) = delete;
  VictimsSeam& operator=(const VictimsSeam&) = delete;
  ~VictimsSeam() override { platform::set_seam(nullptr); }

  /// Within the next operation.
  void die_at(Step step) {
    step_ = step;
    asked_for_lock_ = false;
  }

  std::uint32_t fail(platform::Call call) noexcept override {
    if (call == platform::Call::watch) return 5;
    if (call == platform::Call::lock) {
      asked_for_lock_ = true;
      return 0;
    }
    // Every call but that for the lock file's opening comes when the lock is there.
    if (!asked_for_lock_) return 0;
    if (call == platform::Call::read && step_ == Step::reading) await_death();
    if (call == platform::Call::open && step_ == Step::opening) await_death();
    if (call == platform::Call::write) die_writing();
    return 0;
  }
  std::optional<std::int64_t> ticks() noexcept override {
    if (asked_for_lock_ && step_ == Step::before_write) await_death();
    return GuardianFolder::start;
  }
  std::optional<std::wstring> own_module_name(std::uint32_t&) noexcept override {
    return module_.wstring();
  }
  std::optional<bool> elevated() noexcept override { return true; }

 private:
  /// The file has just been truncated.
  void die_writing() {
    if (step_ == Step::half_written) {
      std::ofstream file(services_, std::ios::binary | std::ios::app);
      file << R"({"svc":{"allowed":0,"bloc)" << std::flush;
    }
    if (step_ == Step::half_written || step_ == Step::truncated) await_death();
  }

  const std::filesystem::path module_;
  const std::filesystem::path services_;
  std::optional<Step> step_;
  bool asked_for_lock_ = false;
};

[[noreturn]] void keep_busy(circuit_breaker& breaker) {
  std::cout << "ready" << std::endl;
  const std::string text(200, 'x');
  for (unsigned i = 0;; ++i) {
    const std::string service = "victim" + std::to_string(i % 40);
    breaker.IsSendAllowed(service);
    breaker.process_request_server_error(service.c_str(), {text, 0, text});
  }
}

/// The part of a victim. It returns if nothing ended it where it should have.
void die() {
  const auto path = [](const char* name) { return devkit::to_path(environment(name).value()); };
  const auto step = static_cast<Step>(std::stoi(environment("SPLICE_STEP").value()));
  VictimsSeam seam(path("SPLICE_MODULE"), path("SPLICE_SERVICES"));
  circuit_breaker breaker;
  auto& storage = support::storage_in(breaker);
  if (step == Step::after_write) {
    const std::wstring lock_path = path("SPLICE_LOCK").wstring();
    cloud::guardian::file_lock lock(lock_path);
    const std::lock_guard guard(lock);
    storage.refresh_service("victim");
    storage.save();
    await_death();
  }
  if (step == Step::anywhere) keep_busy(breaker);
  if (step == Step::reading) storage.on_modified(L"folder", services_name);
  seam.die_at(step);
  breaker.IsSendAllowed("victim");
  std::cerr << "survived " << names.at(static_cast<std::size_t>(step)) << std::endl;
}

class FaultsKill : public testing::Test {
 protected:
  FaultsKill() {
    // The test brings the news itself.
    folder.seam().fail_calls(platform::Call::watch, 5);
    devkit::os::set_environment(
        "SPLICE_MODULE",
        devkit::path_text(folder.path() / platform::library_file_name(L"cloudsplicer")));
    devkit::os::set_environment("SPLICE_SERVICES", devkit::path_text(folder.services_file()));
    devkit::os::set_environment("SPLICE_LOCK", devkit::path_text(folder.lock_file()));
    survivor = std::make_unique<circuit_breaker>();
  }

  static std::unique_ptr<devkit::os::Process> start(Step step) {
    devkit::os::set_environment("SPLICE_STEP", std::to_string(static_cast<int>(step)));
    auto process = std::make_unique<devkit::os::Process>(devkit::os::program(),
                                                         std::vector<std::string>{"die"});
    for (;;) {
      const auto line = process->read_line();
      if (!line) throw std::runtime_error("the victim ended too early");
      if (line == "ready") return process;
    }
  }

  /// Lets one process die while the survivor waits for its lock, which it then has to get.
  void kill_at(Step step) {
    const auto victim = start(step);
    const std::size_t asked = folder.calls(platform::Call::lock);
    bool answer = false;
    waiting::Attempt attempt([&] { answer = survivor->IsSendAllowed("svc"); });
    ASSERT_TRUE(waiting::until([&] { return folder.calls(platform::Call::lock) > asked; }));
    if (step != Step::anywhere) {
      EXPECT_FALSE(attempt.is_done());
    }
    victim->stop();
    ASSERT_TRUE(attempt.ends());
    EXPECT_TRUE(answer);
    EXPECT_NE(victim->wait(), 0);
  }

  std::string left() const { return GuardianFolder::content(folder.services_file()); }

  static std::string kind_of(const std::string& file, const std::string& before) {
    if (file == before) return "intact";
    if (file.empty()) return "empty";
    return nlohmann::json::accept(file) ? "new" : "cut short";
  }
  static std::string expected(Step step) {
    switch (step) {
      case Step::truncated:
        return "empty";
      case Step::half_written:
        return "cut short";
      case Step::after_write:
        return "new";
      default:
        return "intact";
    }
  }

  /// The survivor hears of the file, keeps what it knows if that is of no use, and mends it.
  void expect_survivor_mends(const std::string& file, bool damaged) {
    log.clear();
    support::storage_in(*survivor).on_modified(L"folder", services_name);
    EXPECT_TRUE(survivor->IsSendAllowed("svc"));
    EXPECT_EQ(support::complaints(log).size(), damaged ? 1u : 0u);
    if (damaged) {
      EXPECT_TRUE(support::has_line(
          log, 4, L"reload services from file failed; err = 1006 invalid services info file"));
    }
    auto remembered = support::storage_in(*survivor).circuits();
    EXPECT_EQ(remembered.at("svc").counter, 1u);
    survivor->process_request_server_error("svc");
    const auto mended = nlohmann::json::parse(left());
    EXPECT_EQ(mended.at("svc").at("counter"), 2);
    EXPECT_EQ(mended.size(), remembered.size());
    if (!damaged) {
      EXPECT_EQ(mended.size(), nlohmann::json::parse(file).size());
    }
  }

  /// Another one begins with the file.
  void expect_beginner_copes(const std::string& file, bool damaged) {
    folder.write_services(file);
    log.clear();
    circuit_breaker beginner;
    EXPECT_EQ(support::count_lines(log, 8,
                                   L"Failed to load cloud guardian services info from file invalid "
                                   L"services info file err = 1006"),
              damaged ? 1u : 0u);
    EXPECT_TRUE(beginner.IsSendAllowed("svc"));
    EXPECT_EQ(nlohmann::json::parse(left()).at("svc").at("counter"), damaged ? 0 : 1);
  }

  /// One circuit, in memory and in the file.
  std::string begin() {
    folder.write_services("{}");
    support::storage_in(*survivor).on_modified(L"folder", services_name);
    survivor->process_request_server_error("svc");
    return left();
  }

  support::RecordingLog log;
  GuardianFolder folder{GuardianFolder::config(), support::TemporaryFolder::fast_base()};
  std::unique_ptr<circuit_breaker> survivor;
};

TEST_F(FaultsKill, OthersGoOnWhereverAProcessDies) {
  const std::size_t count = 14 * support::campaign_factor();
  std::map<std::string, std::size_t> found;
  std::size_t killed = 0;
  for (; killed < count; ++killed) {
    const auto step = static_cast<Step>(killed % names.size());
    SCOPED_TRACE(testing::Message()
                 << "death " << killed << ", " << names.at(static_cast<std::size_t>(step)));
    const std::string before = begin();
    ASSERT_NO_FATAL_FAILURE(kill_at(step));
    const std::string file = left();
    const std::string kind = kind_of(file, before);
    if (step != Step::anywhere) {
      EXPECT_EQ(kind, expected(step));
    }
    ++found[kind];
    const bool damaged = kind == "empty" || kind == "cut short";
    expect_survivor_mends(file, damaged);
    expect_beginner_copes(file, damaged);
    if (HasFailure()) return;
  }
  std::cout << "killed " << killed;
  for (const auto& [kind, times] : found) std::cout << ", file " << kind << ' ' << times;
  std::cout << "; others went on " << killed << '\n';
}

}  // namespace

/// With "die" one of the victims, which the test starts; else the test.
int main(int count, char** values) {
  if (count == 2 && std::string_view(values[1]) == "die") {
    die();
    return 1;
  }
  testing::InitGoogleTest(&count, values);
  return RUN_ALL_TESTS();
}
