#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/WatchedProcess.h"
#include "devkit/host/User.h"
#include "system/KitScene.h"
#include "system/command_line.h"

namespace kit_test {

/// A user who is signed in; hosts and applications are processes that the test starts.
class AppScene : public KitScene {
 protected:
  using Process = std::unique_ptr<devkit::WatchedProcess>;
  using json = nlohmann::json;
  static constexpr std::chrono::seconds patience{60};
  static constexpr const char* device = "device-1";

  AppScene() { sign_in("token-1"); }

  void sign_in(const std::string& token) const {
    ASSERT_EQ(
        run({"user", "sign-in", token, "--device", device, "--module", module_text(kit)}).code, 0);
  }
  void sign_out() const {
    ASSERT_EQ(run({"user", "sign-out", "--module", module_text(kit)}).code, 0);
  }

  Process start(std::vector<std::string> arguments,
                devkit::os::Process::Input input = devkit::os::Process::Input::shared) const {
    arguments.insert(arguments.end(), {"--module", module_text(kit)});
    return std::make_unique<devkit::WatchedProcess>(splicectl(), arguments, input);
  }
  Process start_server(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments = {"host", "serve", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    Process process = start(arguments);
    EXPECT_FALSE(says(*process, "serving").is_null());
    EXPECT_FALSE(says(*process, "cloud", "up").is_null());
    return process;
  }
  Process start_app(const std::string& name, const std::vector<std::string>& options,
                    devkit::os::Process::Input input = devkit::os::Process::Input::shared) const {
    std::vector<std::string> arguments = {"app", name, "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    Process process = start(arguments, input);
    EXPECT_FALSE(says(*process, "ready").is_null());
    return process;
  }

  /// The next line that is an object with the member, and that value if one is wanted. Null if none
  /// comes.
  static json says(devkit::WatchedProcess& process, const char* member, const json& value = {}) {
    const auto line = process.wait_for(
        [&](const std::string& text) {
          const json said = json::parse(text, nullptr, false);
          return said.is_object() && said.contains(member) &&
                 (value.is_null() || said.at(member) == value);
        },
        patience);
    return line ? json::parse(*line) : json();
  }
  /// How many of its lines so far have the member.
  static std::size_t count_lines(const devkit::WatchedProcess& process, const char* member) {
    std::size_t count = 0;
    for (const std::string& line : process.lines()) {
      const json said = json::parse(line, nullptr, false);
      if (said.is_object() && said.contains(member)) ++count;
    }
    return count;
  }

  template <class Condition>
  static bool until(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }

  devkit::CloudAdmin admin() const { return devkit::CloudAdmin(cloud.address()); }
  /// Whether the process has had the cloud register all of them.
  bool has_registered(std::uint64_t process, const std::vector<std::string>& names) const {
    for (const json& stream : admin().streams()) {
      if (stream.at("process") != process || stream.at("connected") != true) continue;
      const json& known = stream.at("registrations");
      if (std::all_of(names.begin(), names.end(), [&](const std::string& name) {
            return std::any_of(known.begin(), known.end(),
                               [&](const json& one) { return one.at("app_id") == name; });
          })) {
        return true;
      }
    }
    return false;
  }
  /// The command's line in the cloud's table.
  json command(const std::string& id) const {
    for (const json& one : admin().commands()) {
      if (one.at("command_id") == id) return one;
    }
    return {};
  }
  bool becomes_complete(const std::string& id) const {
    return until([&] { return command(id).value("completions", 0) > 0; });
  }
  std::string push_command(const std::string& app, const std::string& name) const {
    return admin().push_command({app, device}, name, {{"n", 1}});
  }
  /// Whether a request with this user's token comes.
  bool sees_token(const std::string& token) const {
    return until([&] {
      for (const json& request : admin().requests(0)) {
        const json body = json::parse(request.value("body", ""), nullptr, false);
        if (body.is_object() &&
            body.value("/params/connect_source/user_token"_json_pointer, "") == token) {
          return true;
        }
      }
      return false;
    });
  }
};

}  // namespace kit_test
