#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "_base/FailingAllocation.h"
#include "_base/abi.h"
#include "platform/seam.h"
#include "support/EventsRecorder.h"
#include "support/ForkedChild.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"

/// Passes everything on to another seam, which finds memory where the breaker doesn't: the system's
/// own calls don't take theirs from this heap either.
class UnfailingSeam final : public platform::Seam {
 public:
  explicit UnfailingSeam(platform::Seam& behind) : behind_(behind) { platform::set_seam(this); }
  UnfailingSeam(const UnfailingSeam&) = delete;
  UnfailingSeam& operator=(const UnfailingSeam&) = delete;
  ~UnfailingSeam() override { platform::set_seam(&behind_); }

  /// Lets the watchers watch, but without memory: on each one's thread the allocation of this
  /// number fails, counted from where it opens its first folder.
  void starve_watchers(long index) { watchers_ = index; }

  std::uint32_t fail(platform::Call call) noexcept override {
    if (call != platform::Call::watch) return behind_.fail(call);
    thread_local bool opened = false;
    const bool opens = !std::exchange(opened, true);
    if (watchers_ == failing_allocation::never) {
      // The test brings the news itself. A watcher that opens its folder and can't read in it says
      // nothing: its log lines would take memory at any moment.
      return opens ? 0 : 5;
    }
    if (opens) failing_allocation::successes_left = watchers_;
    return 0;
  }
  std::optional<std::int64_t> ticks() noexcept override { return behind_.ticks(); }
  std::optional<std::uint32_t> milliseconds() noexcept override { return behind_.milliseconds(); }
  std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept override {
    const failing_allocation::Pause pause;
    return behind_.own_module_name(error);
  }
  std::optional<std::wstring> executable_name(std::uint32_t& error) noexcept override {
    const failing_allocation::Pause pause;
    return behind_.executable_name(error);
  }
  std::optional<bool> elevated() noexcept override { return behind_.elevated(); }

 private:
  platform::Seam& behind_;
  std::atomic<long> watchers_ = failing_allocation::never;
};

/// A guardian's folder, for operations that lack memory. To be included by one source of a program.
class WithoutMemoryTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!support::ForkedChild::possible()) {
      GTEST_SKIP() << "it may end the process, and processes can't be copied here";
    }
  }

  /// Plays `attempt(index)` for 0, 1, ... until it returns that no allocation failed. Returns how
  /// many failed. `attempt` lets the allocation number `index` fail by failing_allocation::met_by.
  /// Copies of the process play first: what ends one is left out, and counted in
  /// `deaths`. Nothing may be left that takes memory the first time only.
  long each_allocation(const std::function<bool(long)>& attempt) {
    const std::set<long> deadly = find_deadly(attempt);
    for (long index = 0;; ++index) {
      SCOPED_TRACE(testing::Message() << "allocation " << index);
      if (deadly.contains(index)) {
        ++deaths;
      } else if (!attempt(index) || HasFatalFailure()) {
        return index;
      }
    }
  }

  static bool survives(const std::function<void()>& action) {
    try {
      support::ForkedChild child([&](const auto& ready) {
        std::set_terminate([] { std::_Exit(1); });
        action();
        ready();
      });
    } catch (const std::runtime_error&) {
      return false;
    }
    return true;
  }

  long deaths = 0;

 private:
  std::set<long> find_deadly(const std::function<bool(long)>& attempt) const {
    std::set<long> deadly;
    const auto progress = folder.path() / "progress";
    for (long next = 0;; ++next) {
      const bool survived = survives([&] {
        for (long index = next;; ++index) {
          std::ofstream(progress) << index;
          if (!attempt(index)) return;
        }
      });
      if (survived) return deadly;
      std::ifstream(progress) >> next;
      deadly.insert(next);
    }
  }

 protected:
  support::RecordingLog log;
  support::GuardianFolder folder{support::GuardianFolder::config(),
                                 support::TemporaryFolder::fast_base()};
  support::EventsRecorder events{folder.path()};
  UnfailingSeam seam{folder.seam()};
};
