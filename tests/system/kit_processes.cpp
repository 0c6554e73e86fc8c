#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "devkit/common/os.h"

namespace kit_test {

namespace {

using devkit::os::Process;

constexpr const char* child_word = "child";

TEST(KitProcessChild, EndsWithItsInput) {
  const std::vector<std::string>& arguments = testing::internal::GetArgvs();
  if (arguments.empty() || arguments.back() != child_word)
    GTEST_SKIP() << "the part that other processes play in the tests of this program";
  for (std::string line; std::getline(std::cin, line);) {
    std::printf("\nheard %s\n", line.c_str());
    std::fflush(stdout);
  }
}

class KitProcess : public testing::Test {
 protected:
  static std::unique_ptr<Process> start() {
    return std::make_unique<Process>(
        devkit::os::program(),
        std::vector<std::string>{"--gtest_filter=KitProcessChild.EndsWithItsInput", child_word},
        Process::Input::piped);
  }
};

TEST_F(KitProcess, HearsAndIsHeard) {
  const auto child = start();
  ASSERT_TRUE(child->write_line("a word"));
  child->close_input();
  EXPECT_NE(child->read_all().find("heard a word"), std::string::npos);
  EXPECT_EQ(child->wait(), 0);
}

TEST_F(KitProcess, KeepsNoPipeOfAnotherThatIsStartedAtTheSameTime) {
  constexpr std::size_t at_once = 4;
  constexpr int rounds = 15;
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::unique_ptr<Process>> children(at_once);
    std::vector<std::thread> threads;
    const waiting::Gate go;
    for (auto& child : children) {
      threads.emplace_back([&child, go] {
        go.wait();
        child = start();
      });
    }
    go.open();
    for (std::thread& thread : threads) thread.join();
    // Each hears the end of its input, and is heard to end, while those behind it still live.
    for (auto& child : children) {
      const waiting::Attempt ending([&child] {
        child->close_input();
        child->read_all();
      });
      const bool ends = ending.ends();
      if (!ends) {
        for (auto& each : children) each->stop();
        EXPECT_TRUE(ending.ends());
      }
      ASSERT_TRUE(ends) << "round " << round;
      EXPECT_EQ(child->wait(), 0);
    }
  }
}

}  // namespace

}  // namespace kit_test
