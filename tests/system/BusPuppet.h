#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <string>

#include "devkit/common/WatchedProcess.h"
#include "system/kit_bus.h"

namespace kit_test {

/// Another process on the bus, which does as it is told. A test program that uses it has a test
/// BusPuppet.DoesAsItIsTold, which calls play_bus_puppet(): the puppet is the program once more.
class BusPuppet {
 public:
  BusPuppet()
      : process_(devkit::os::program(), {"--gtest_filter=BusPuppet.DoesAsItIsTold", "puppet"},
                 devkit::os::Process::Input::piped) {
    EXPECT_TRUE(says("ready"));
  }

  // Each waits until it is done.
  void collect(const std::string& channel) { EXPECT_TRUE(does("collect " + channel)); }
  void answer(const std::string& channel) { EXPECT_TRUE(does("answer " + channel)); }
  void announce(const std::string& channel, const std::string& listener) {
    EXPECT_TRUE(does("announce " + channel + " " + listener));
  }
  void withdraw(const std::string& channel, const std::string& listener) {
    EXPECT_TRUE(does("withdraw " + channel + " " + listener));
  }
  void observe() { EXPECT_TRUE(does("observe")); }
  /// Numbers from 0.
  void send(const std::string& channel, int count) {
    EXPECT_TRUE(does("send " + channel + " " + std::to_string(count)));
  }
  void begin_to_send(const std::string& channel, int count) {
    EXPECT_TRUE(process_.write_line("send " + channel + " " + std::to_string(count)));
  }

  /// Waits for a line: what it collected ("channel number"), or observed ("+channel listener").
  /// Each is given away once; their order doesn't matter here.
  bool says(const std::string& line) {
    const std::size_t awaited = ++given_away_[line];
    return waiting::until([&] { return count_said(line) >= awaited; });
  }
  std::size_t count_said(const std::string& line) const {
    const std::vector<std::string> lines = process_.lines();
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
  }
  std::vector<std::string> lines() const { return process_.lines(); }
  std::uint64_t id() const { return process_.id(); }

  void kill() { process_.kill(); }
  /// In good order.
  void leave() {
    process_.close_input();
    EXPECT_EQ(process_.wait(waiting::deadline), 0);
  }

 private:
  bool does(const std::string& command) { return process_.write_line(command) && says("done"); }

  std::map<std::string, std::size_t> given_away_;
  devkit::WatchedProcess process_;
};

namespace puppet {

inline void say(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard guard(mutex);
  // The line is the test program's own, whatever gtest has begun to write.
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

class Observer final : public ibus_observer {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
  void on_new_listener(void*, const char* channel, const char* listener) override {
    say("+" + std::string(channel) + " " + listener);
  }
  void on_listener_removed(void*, const char* channel, const char* listener) override {
    say("-" + std::string(channel) + " " + listener);
  }
};

inline void obey(const KitBus& bus, std::list<Seat>& seats, Observer& observer,
                 const std::string& line) {
  std::istringstream words(line);
  std::string command, channel, word;
  words >> command >> channel >> word;
  if (command == "collect") {
    seats.emplace_back(bus, channel, [channel](IBusMessage* message) {
      say(channel + " " + std::to_string(message->GetInt("number")));
    });
  } else if (command == "answer") {
    seats.emplace_back(bus, channel, [&bus](IBusMessage* message) {
      message->SetReply(numbered(bus, message->GetInt("number") + 1).get());
    });
  } else if (command == "announce") {
    bus->AddListener(channel.c_str(), word.c_str());
  } else if (command == "withdraw") {
    bus->RemoveListener(channel.c_str(), word.c_str());
  } else if (command == "observe") {
    EXPECT_TRUE(bus->AddObserver(&observer, 0));
  } else if (command == "send") {
    for (int number = 0; number < std::stoi(word); ++number) {
      const MessagePointer message = numbered(bus, number);
      message->SetInt("sender", devkit::os::process_id());
      bus.channel(channel)->Send(message.get());
    }
  } else {
    FAIL() << line;
  }
  say("done");
}

}  // namespace puppet

/// Until there are no more orders.
inline void play_bus_puppet() {
  const std::vector<std::string>& arguments = testing::internal::GetArgvs();
  if (arguments.empty() || arguments.back() != "puppet")
    GTEST_SKIP() << "the part that other processes play in the tests of this program";
  const KitBus bus;
  puppet::Observer observer;
  std::list<Seat> seats;
  ASSERT_NE(bus.get(), nullptr);
  puppet::say("ready");
  for (std::string line; std::getline(std::cin, line);) puppet::obey(bus, seats, observer, line);
  seats.clear();
  bus->RemoveObserver(&observer, 0);
}

}  // namespace kit_test
