#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "_base/FailingAllocation.h"
#include "guardian/telemetry.h"
#include "platform/seam.h"
#include "support/EventsRecorder.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

namespace {

using cloud::guardian::telemetry;

/// Gives names without asking for memory that the test may refuse: the system's own calls don't
/// take it from this heap either.
class Names final : public platform::Seam {
 public:
  explicit Names(std::wstring own_module) : own_module_(std::move(own_module)) {
    platform::set_seam(this);
  }
  ~Names() override { platform::set_seam(nullptr); }

  std::optional<std::wstring> own_module_name(std::uint32_t&) noexcept override {
    const failing_allocation::Pause pause;
    return own_module_;
  }

 private:
  const std::wstring own_module_;
};

class TelemetryWithoutMemory : public testing::Test {
 protected:
  /// Lets each allocation of a report fail once: it arrives, or a line tells that it doesn't.
  /// Returns how many there were.
  long survives(const std::function<void(telemetry&)>& report) {
    for (long index = 0;; ++index) {
      recorder.clear();
      log.clear();
      const bool met = failing_allocation::met_by(index, [&] {
        EXPECT_NO_THROW({
          telemetry reporter;
          report(reporter);
        });
      });
      const std::size_t lost = recorder.posted().empty() ? 1 : 0;
      EXPECT_GE(log.lines(4).size(), lost) << "allocation " << index;
      if (met) continue;
      EXPECT_EQ(lost, 0u);
      EXPECT_TRUE(log.lines().empty());
      return index;
    }
  }

  support::RecordingLog log;
  const support::TemporaryFolder folder;
  const Names names{folder.module_name(L"cloudsplicer").wstring()};
  support::EventsRecorder recorder{folder.path()};
};

TEST_F(TelemetryWithoutMemory, CostsNoMoreThanTheReport) {
  const std::string text(100, 'x');
  const std::vector<request_failure> errors = {{text, 0, text}, {text, 1, text}};
  const long enabled =
      survives([&](telemetry& reporter) { reporter.post_throttling_enabled(text, errors); });
  EXPECT_GE(enabled, 20);
  const long disabled =
      survives([&](telemetry& reporter) { reporter.post_throttling_disabled(text, 1, 2); });
  EXPECT_GE(disabled, 10);
}

TEST_F(TelemetryWithoutMemory, SaysWhatItLackedWhileItLoaded) {
  failing_allocation::met_by(0, [&] { telemetry reporter; });
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                L"Could not load the EC events DLL. Error 14");
}

TEST_F(TelemetryWithoutMemory, SaysWhatItLackedWhileItReported) {
  telemetry reporter;
  failing_allocation::met_by(0, [&] { reporter.post_throttling_disabled("service", 1, 2); });
  EXPECT_TRUE(recorder.posted().empty());
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::post", L"Failed to post event; err = 14");
}

}  // namespace
