#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "_base/FailingAllocation.h"
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

  /// The watchers' threads lack memory too: the allocation of this number fails, counted from where
  /// they open their first folder.
  void starve_watchers(long index) { watchers_ = index; }

  std::uint32_t fail(platform::Call call) noexcept override {
    const std::uint32_t number = behind_.fail(call);
    if (call == platform::Call::watch && watchers_ != failing_allocation::never) {
      failing_allocation::successes_left = watchers_.exchange(failing_allocation::never);
    }
    return number;
  }
  std::optional<std::int64_t> ticks() noexcept override { return behind_.ticks(); }
  std::optional<std::uint32_t> milliseconds() noexcept override { return behind_.milliseconds(); }
  std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept override {
    const Pause pause;
    return behind_.own_module_name(error);
  }
  std::optional<std::wstring> executable_name(std::uint32_t& error) noexcept override {
    const Pause pause;
    return behind_.executable_name(error);
  }
  std::optional<bool> elevated() noexcept override { return behind_.elevated(); }

 private:
  struct Pause {
    const long left = std::exchange(failing_allocation::successes_left, failing_allocation::never);
    ~Pause() { failing_allocation::successes_left = left; }
  };

  platform::Seam& behind_;
  std::atomic<long> watchers_ = failing_allocation::never;
};

/// A guardian's folder, for operations that lack memory. To be included by one source of a program.
class WithoutMemoryTest : public testing::Test {
 protected:
  WithoutMemoryTest() {
    // The test brings the news itself.
    folder.seam().fail_calls(platform::Call::watch, 5);
  }

  /// Plays `attempt(index)` for 0, 1, ... until it returns that no allocation failed. Returns how
  /// many failed. `attempt` lets the allocation number `index` fail by failing_allocation::met_by.
  /// Where processes can be copied, each is played by a copy first, for it may end its process:
  /// those that do are counted in `deaths`.
  long each_allocation(const std::function<bool(long)>& attempt) {
    for (long index = 0;; ++index) {
      SCOPED_TRACE(testing::Message() << "allocation " << index);
      if (!survives([&] { attempt(index); })) {
        ++deaths;
      } else if (!attempt(index) || HasFatalFailure()) {
        return index;
      }
    }
  }

  static bool survives(const std::function<void()>& action) {
    if (!support::ForkedChild::possible()) return true;
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
  support::RecordingLog log;
  support::GuardianFolder folder{support::GuardianFolder::config(),
                                 support::TemporaryFolder::fast_base()};
  support::EventsRecorder events{folder.path()};
  UnfailingSeam seam{folder.seam()};
};
