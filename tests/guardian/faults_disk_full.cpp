// The disk is full at each write of a breaker's life: that is told, the memory stays, and the next
// write that finds room makes the file good.

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "guardian/circuit_breaker.h"
#include "support/BreakerTest.h"
#include "support/campaign.h"
#include "support/full_disk.h"

namespace {

using platform::Call;
using support::GuardianFolder;
using support::stored_circuit;

class FaultsDiskFull : public support::BreakerTest {
 protected:
  FaultsDiskFull() : BreakerTest(GuardianFolder::config(), support::TemporaryFolder::fast_base()) {
    // The test brings the news itself, where there are any.
    folder.seam().fail_calls(Call::watch, 5);
  }

  struct Operation {
    const char* name;
    std::function<void()> run;
  };

  /// A life with every kind of write in it: a new circuit, counts, the opening, refusals, probes,
  /// half opening, the way back and a new configuration.
  std::vector<Operation> life() {
    const auto asks = [this] { static_cast<void>(ask()); };
    const auto wait = [this] { folder.seam().jump_clock_seconds(400); };
    guardian_config config = GuardianFolder::config();
    config.threshold = 2;
    const std::string settings = support::config_text(config);
    return {{"new", asks},
            {"failure",
             [this] {
               fail({"500", 0, "up"});
             }},
            {"failure", [this] { fail(); }},
            {"opening",
             [this] {
               fail({"32005.1", 2, "up"});
             }},
            {"refusal", asks},
            {"failure while open", [this] { fail(); }},
            {"", wait},
            {"probe", asks},
            {"half opening", [this] { succeed(); }},
            {"refusal", asks},
            {"", wait},
            {"probe", asks},
            {"failure while half open", [this] { fail(); }},
            {"half opening", [this] { succeed(); }},
            {"success", [this] { succeed(); }},
            {"success", [this] { succeed(); }},
            {"closing", [this] { succeed(); }},
            {"failure", [this] { fail(); }},
            {"settings", [this, settings] { breaker->OnSettingsChanged(settings.c_str()); }}};
  }
  void begin() {
    breaker.reset();
    folder.seam().hold_clock(GuardianFolder::start);
    std::filesystem::remove_all(folder.cloud_folder());
    make_breaker();
    log.clear();
  }
  std::string memory() { return text_of(support::circuits_in(*breaker)); }

  /// What each operation leaves in memory when all goes well.
  std::vector<std::string> undisturbed() {
    begin();
    std::vector<std::string> memories;
    for (const Operation& operation : life()) {
      operation.run();
      memories.push_back(memory());
    }
    return memories;
  }

  std::size_t failed_writes() const {
    std::size_t count = 0;
    for (const auto& line : support::complaints(log)) {
      EXPECT_TRUE(line.text.starts_with(L"failed to write to file ")) << line;
      ++count;
    }
    return count;
  }
  /// One write more, which finds room.
  void expect_next_save_succeeds() {
    log.clear();
    EXPECT_TRUE(breaker->IsSendAllowed("another"));
    EXPECT_TRUE(support::complaints(log).empty());
    const auto stored = folder.services();
    EXPECT_TRUE(stored.contains("another"));
    for (const auto& [service, info] : support::storage_in(*breaker).circuits()) {
      ASSERT_TRUE(stored.contains(service));
      EXPECT_EQ(stored.at(service).at("state"), static_cast<int>(info.state));
      EXPECT_EQ(stored.at(service).at("counter"), info.counter);
      EXPECT_EQ(stored.at(service).at("blocked"), info.blocked);
      EXPECT_EQ(stored.at(service).at("allowed"), info.allowed);
    }
  }

  /// Plays the life with the disk full during the operation number `full`; `around` runs it then.
  std::size_t play(std::size_t full, const std::vector<std::string>& expected,
                   const std::function<void(const std::function<void()>&)>& around) {
    begin();
    const auto operations = life();
    std::size_t lost = 0;
    for (std::size_t i = 0; i < operations.size(); ++i) {
      SCOPED_TRACE(testing::Message()
                   << "full at " << full << ", now " << i << ' ' << operations[i].name);
      if (i != full) {
        operations[i].run();
      } else {
        log.clear();
        around(operations[i].run);
        lost = failed_writes();
      }
      EXPECT_EQ(memory(), expected[i]);
    }
    expect_next_save_succeeds();
    return lost;
  }
  /// The same for each operation in turn. Returns how many writes failed.
  std::size_t play_all(const std::function<void(const std::function<void()>&)>& around) {
    const auto expected = undisturbed();
    std::size_t lost = 0;
    for (std::size_t full = 0; full < expected.size() && !HasFailure(); ++full) {
      lost += play(full, expected, around);
    }
    return lost;
  }
};

TEST_F(FaultsDiskFull, AtAnyWriteCostsNoMemory) {
  const std::size_t lost = play_all([this](const auto& run) {
    folder.seam().fail_calls(Call::write, 28);
    run();
    folder.seam().let_calls_through(Call::write);
  });
  EXPECT_EQ(lost, 18u);
  std::cout << lost << " writes failed on a stream that was open\n";
}

TEST_F(FaultsDiskFull, AtAnyOpeningCostsNoMemory) {
  const std::size_t lost = play_all([this](const auto& run) {
    // The first is that of the lock file.
    folder.seam().fail_call(Call::open, 112, 2, support::TestSeam::for_ever);
    run();
    folder.seam().let_calls_through(Call::open);
  });
  EXPECT_EQ(lost, 18u);
  std::cout << lost << " files couldn't be opened for writing\n";
}

TEST_F(FaultsDiskFull, WithoutRoomForOneByteMore) {
  if (!support::full_disk::possible()) GTEST_SKIP() << "the size of files can't be limited here";
  std::size_t lost = 0;
  for (const unsigned long room : {0ul, 1ul, 40ul}) {
    lost += play_all([room](const auto& run) {
      const support::full_disk::Limit limit(room);
      run();
    });
  }
  EXPECT_EQ(lost, 3 * 18u);
  std::cout << lost << " files couldn't grow\n";
}

TEST_F(FaultsDiskFull, OnADeviceThatIsAlwaysFull) {
  const std::filesystem::path full = "/dev/full";
  std::error_code error;
  if (!std::filesystem::exists(full, error)) GTEST_SKIP() << "there is no such device here";
  const std::size_t lost = play_all([this, &full](const auto& run) {
    for (const auto& file : {folder.services_file(), folder.cache_file()}) {
      std::filesystem::remove(file);
      std::filesystem::create_symlink(full, file);
    }
    run();
    std::filesystem::remove(folder.services_file());
    std::filesystem::remove(folder.cache_file());
  });
  EXPECT_EQ(lost, 18u);
  std::cout << lost << " writes to a full device failed\n";
}

TEST_F(FaultsDiskFull, ForEverCostsNoMemoryEither) {
  const auto expected = undisturbed();
  begin();
  folder.seam().fail_calls(Call::write, 28);
  const auto operations = life();
  for (std::size_t i = 0; i < operations.size(); ++i) {
    operations[i].run();
    EXPECT_EQ(memory(), expected[i]) << i;
  }
  EXPECT_EQ(failed_writes(), 18u);
  folder.seam().let_calls_through(Call::write);
  expect_next_save_succeeds();
}

}  // namespace
