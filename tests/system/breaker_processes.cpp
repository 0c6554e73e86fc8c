// Several processes on one storage folder at once, with the real clock, lock and watchers. What
// each of them did is replayed into the reference, in the order in which they had the lock.
//
// Checked is, for each operation: its answer; all that its process remembers afterwards, to the
// tick; whether it wrote. Then, that no two operations had the lock at once, and that the files at
// the end are the reference's. The watchers bring their news when they like, and a process that got
// none works on what it knew, so each operation also tells which of the files it read anew: the
// reference gets the same news at the same moment. It follows that the last one to write wins for
// all services, as it has to be.
//
// They play for 3 seconds, or as many as SPLICE_SECONDS says; SPLICE_SEED repeats the choices, if
// not their timing.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "guardian/break_time.h"
#include "support/ReferenceBreaker.h"
#include "support/TemporaryFolder.h"
#include "system/BreakerPlayer.h"

namespace breaker_processes {

namespace {

using devkit::os::environment;
using nlohmann::json;
using support::ReferenceBreaker;

/// The part of one process.
void play() {
  const Folder folder(devkit::to_path(environment("SPLICE_FOLDER").value()));
  const auto number = [](const char* name) {
    return static_cast<unsigned>(std::stoul(environment(name).value()));
  };
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(number("SPLICE_SECONDS"));
  Player(folder, number("SPLICE_PART"), number("SPLICE_SEED")).play(end);
}

/// The operations of one process, in its order.
class Record {
 public:
  explicit Record(const std::filesystem::path& path) : file_(path, std::ios::binary) { advance(); }

  const std::optional<json>& next() const noexcept { return next_; }
  void advance() {
    std::string line;
    next_.reset();
    if (std::getline(file_, line)) next_ = json::parse(line);
  }

 private:
  std::ifstream file_;
  std::optional<json> next_;
};

std::optional<std::string> content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The reference in the place of all processes.
class Replay {
 public:
  explicit Replay(const Folder& folder) : folder_(folder) {
    world_.packaged = configurations[0];
    world_.draw = [](std::uint32_t min, std::uint32_t max, std::uint32_t seed) {
      return cloud::guardian::draw_break({min, max}, seed);
    };
    for (unsigned process = 0; process < processes; ++process) {
      parts_.push_back(std::make_unique<Part>(folder.record(process)));
    }
  }

  struct Tally {
    std::uint64_t numbered = 0;
    std::uint64_t others = 0;  ///< that touched nothing
    std::uint64_t hand_overs = 0;
    std::uint64_t reloads = 0;
    std::uint64_t writes = 0;
    std::uint64_t refusals = 0;
  };

  /// Stops at the first thing that differs.
  void run() {
    std::size_t last = processes;
    while (!testing::Test::HasFailure()) {
      play_unnumbered();
      const std::optional<std::size_t> turn = whose_turn();
      if (!turn) break;
      if (*turn != last) ++tally_.hand_overs;
      last = *turn;
      ++tally_.numbered;
      play(*parts_[*turn]);
    }
    if (testing::Test::HasFailure()) return;
    EXPECT_EQ(std::filesystem::file_size(folder_.turns), tally_.numbered);
    EXPECT_EQ(content(folder_.circuits), world_.services);
    EXPECT_EQ(content(folder_.cache), world_.cache);
  }

  const Tally& tally() const noexcept { return tally_; }

 private:
  struct Part {
    explicit Part(const std::filesystem::path& path) : record(path) {}

    Record record;
    std::unique_ptr<ReferenceBreaker> reference;
    std::string remembers;
  };

  /// Those that neither read nor wrote anything shared, or moved their own circuits, come whenever
  /// their process has come to them.
  void play_unnumbered() {
    for (const auto& part : parts_) {
      while (part->record.next() && !part->record.next()->contains("number")) {
        if (testing::Test::HasFailure()) return;
        ++tally_.others;
        play(*part);
      }
    }
  }

  /// The one with the next number; none at the end, or when the order has a gap.
  std::optional<std::size_t> whose_turn() const {
    bool is_end = true;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const auto& next = parts_[i]->record.next();
      if (!next) continue;
      is_end = false;
      if (next->at("number") == tally_.numbered) return i;
    }
    EXPECT_TRUE(is_end) << "two had the lock at once: nobody has number " << tally_.numbered;
    return std::nullopt;
  }

  void play(Part& part) {
    const json doing = *part.record.next();
    part.record.advance();
    world_.now = doing.value("instant", std::int64_t{0});
    const std::size_t reads = world_.reads;
    const std::size_t writes = world_.writes;
    const bool answer = carry_out(part, doing);
    const bool is_start = doing.at("what") == "start";
    // A breaker that starts reads more than the circuits, all of it before it has done anything.
    if (!is_start) {
      EXPECT_EQ(world_.reads - reads, doing.at("reads")) << doing;
    }
    EXPECT_EQ(world_.writes - writes, doing.at("writes")) << doing;
    if (doing.contains("answer")) {
      EXPECT_EQ(answer, doing.at("answer")) << doing;
    }
    part.remembers = doing.value("remembers", part.remembers);
    EXPECT_EQ(support::text_of(part.reference->circuits()), part.remembers) << doing;
    tally_.reloads += world_.reads - reads;
    tally_.writes += world_.writes - writes;
    if (!answer) ++tally_.refusals;
  }

  bool carry_out(Part& part, const json& doing) {
    const std::string what = doing.at("what");
    if (what == "start") {
      part.reference = std::make_unique<ReferenceBreaker>(world_);
      return true;
    }
    ReferenceBreaker& reference = *part.reference;
    const bool read_cache = doing.at("read cache");
    reference.cache_modified = read_cache;
    reference.services_modified = doing.at("reads").get<int>() > (read_cache ? 1 : 0);
    const std::string service = doing.at("service");
    if (what == "ask") return reference.is_send_allowed(service);
    if (what == "success") {
      reference.succeeded(service);
    } else if (what == "settings") {
      reference.settings_changed(configurations.at(doing.at("settings")));
    } else {
      std::optional<ReferenceBreaker::Failure> failure;
      if (doing.contains("failure")) failure = failures.at(doing.at("failure"));
      reference.failed(service, failure);
    }
    return true;
  }

  const Folder& folder_;
  support::ReferenceWorld world_;
  std::vector<std::unique_ptr<Part>> parts_;
  Tally tally_;
};

TEST(BreakerProcesses, DoTogetherWhatTheReferenceDoesInTheirOrder) {
  const support::TemporaryFolder place(support::TemporaryFolder::fast_base());
  const Folder folder(place.path());
  std::filesystem::create_directories(folder.settings.parent_path());
  std::ofstream(folder.settings) << R"({"storage_folder":"user","admin_storage_folder":"guard",)"
                                    R"("storage_filename":"circuits.json",)"
                                    R"("config_storage_filename":"cache.json",)"
                                 << configurations[0].substr(1);
  std::ofstream(folder.turns).close();

  const std::string seed =
      environment("SPLICE_SEED").value_or(std::to_string(std::random_device()() % 1'000'000));
  SCOPED_TRACE("SPLICE_SEED=" + seed);
  devkit::os::set_environment("SPLICE_SEED", seed);
  devkit::os::set_environment("SPLICE_SECONDS", environment("SPLICE_SECONDS").value_or("3"));
  devkit::os::set_environment("SPLICE_FOLDER", devkit::path_text(folder.path));
  std::vector<std::unique_ptr<devkit::os::Process>> players;
  for (unsigned process = 0; process < processes; ++process) {
    devkit::os::set_environment("SPLICE_PART", std::to_string(process));
    players.push_back(std::make_unique<devkit::os::Process>(devkit::os::program(),
                                                            std::vector<std::string>{"play"}));
  }
  for (const auto& player : players) {
    const std::string said = player->read_all();
    ASSERT_EQ(player->wait(), 0) << said;
  }

  Replay replay(folder);
  replay.run();
  const auto& tally = replay.tally();
  std::cout << tally.numbered << " operations under the lock and " << tally.others
            << " besides, by " << processes << " processes, which took turns " << tally.hand_overs
            << " times; " << tally.reloads << " reloads, " << tally.writes << " saves, "
            << tally.refusals << " refusals; seed " << seed << '\n';
  // They did meet.
  EXPECT_GT(tally.hand_overs, processes);
  EXPECT_GT(tally.reloads, processes);
  EXPECT_GT(tally.refusals, 0u);
}

}  // namespace

}  // namespace breaker_processes

/// With "play" one of the processes, which the test starts; else the test.
int main(int count, char** values) {
  if (count == 2 && std::string_view(values[1]) == "play") {
    try {
      breaker_processes::play();
      return 0;
    } catch (const std::exception& error) {
      std::cout << error.what() << std::endl;
      return 1;
    }
  }
  testing::InitGoogleTest(&count, values);
  return RUN_ALL_TESTS();
}
