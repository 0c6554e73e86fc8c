#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "support/PushDayModel.h"

namespace kit_test {

/// Choices, and pushes made by choice, that a seed repeats on every platform.
class Chance {
 public:
  void seed(std::uint32_t number) { random_.seed(number); }

  bool happens(int percent) { return below(100) < percent; }
  int below(std::size_t limit) {
    return static_cast<int>(random_() % static_cast<std::uint32_t>(limit));
  }
  template <class Container>
  auto& one_of(Container& from) {
    return from[static_cast<std::size_t>(below(from.size()))];
  }

  using Push = support::PushDayModel::Push;

  Push event(const std::string& key, const std::string& app, const std::string& device) {
    // All but the exact word are events.
    static const std::vector<std::string> names = {
        "greeting", "Command", "COMMAND", "commands", "command ", "h\xC3\xA4llo", ""};
    Push push{key, false, app, device, one_of(names), {{"day", key}, {"odd", odd_value()}}};
    if (push.name != "greeting") {
      push.params.update(
          {{"command", "scan"}, {"command_id", key}, {"command_params", nlohmann::json::object()}});
    }
    return push;
  }

  Push command(const std::string& key, const std::string& app, const std::string& device) {
    return {key, true, app, device, "scan", {{"odd", odd_value()}}};
  }

 private:
  /// Whatever parameters may hold.
  nlohmann::json odd_value() {
    using nlohmann::json;
    switch (below(16)) {
      case 0:
        return nullptr;
      case 1:
        return std::numeric_limits<std::int64_t>::min();
      case 2:
        return std::numeric_limits<std::int64_t>::max();
      case 3:
        return 0.1;
      case 4:
        return -1e300;
      case 5:
        return "h\xC3\xA4llo \xF0\x9F\x98\x80 \xE2\x80\xA8 \x01\x7F \"\\/\n\t";
      case 6:
        return std::string(static_cast<std::size_t>(below(20000)), 'x');
      case 7:
        return {{"", {{"", json::array({json::array(), json::object(), ""})}}}};
      case 8: {
        json deep = 1;
        for (int i = 0; i < 50; ++i) deep = i % 2 == 0 ? json::array({deep}) : json{{"d", deep}};
        return deep;
      }
      case 9:
        return {{"app_fields", {{"event", "command"}, {"connect_target", {{"app_id", "mail"}}}}}};
      default:
        return below(1000);
    }
  }

  std::mt19937 random_;
};

}  // namespace kit_test
