#include "devkit/cloud/Proxy.h"
#include "devkit/splicectl/exit_codes.h"
#include "system/command_line.h"

namespace kit_test {

namespace {

using nlohmann::json;

class ProxyCommands : public testing::Test {
 protected:
  static Ended proxy(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "proxy");
    return run(arguments);
  }
  static json shown() {
    const Ended ended = proxy({"show", "--json"});
    EXPECT_EQ(ended.code, devkit::exit_code::ok);
    return json::parse(ended.output, nullptr, false);
  }
  json file() const {
    std::ifstream stream(path_);
    return json::parse(stream, nullptr, false);
  }

  const Folder folder_;
  const std::filesystem::path path_ = folder_.path() / "proxy.json";
  const Variable elsewhere_{"SPLICE_PROXY", devkit::path_text(path_)};
};

TEST_F(ProxyCommands, SetShowAndTurnOffTheProxy) {
  EXPECT_TRUE(shown().is_null());
  EXPECT_EQ(
      proxy({"set", "--host", "h", "--port", "81", "--user", "u", "--password", "secret"}).code,
      devkit::exit_code::ok);
  EXPECT_EQ(file(), json::parse(R"({"enabled":true,"type":1,"host":"h","port":81,"user":"u",
                                    "password":"secret"})"));
  EXPECT_EQ(shown()["has_password"], true);

  EXPECT_EQ(proxy({"off"}).code, devkit::exit_code::ok);
  EXPECT_EQ(shown()["enabled"], false);

  EXPECT_EQ(proxy({"set", "--host", "h", "--port", "82"}).code, devkit::exit_code::ok);
  EXPECT_EQ(shown()["user"], "");
  EXPECT_EQ(shown()["has_password"], false);
}

TEST_F(ProxyCommands, NeverShowThePassword) {
  proxy({"set", "--host", "h", "--port", "81", "--user", "u", "--password", "secret"});
  for (const char* const format : {"--json", "--text"}) {
    const Ended ended = proxy({"show", format});
    EXPECT_EQ(ended.output.find("secret"), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("password"), std::string::npos) << ended.output;
  }
}

TEST_F(ProxyCommands, TurnOffWhatWasNeverSet) {
  const Ended ended = proxy({"off", "--text"});
  EXPECT_EQ(ended.code, devkit::exit_code::ok);
  EXPECT_NE(ended.output.find("names none"), std::string::npos) << ended.output;
}

TEST_F(ProxyCommands, ShowTheLargestType) {
  folder_.write("proxy.json", R"({"type":4294967295})");
  EXPECT_EQ(shown()["type"], 4294967295u);
}

TEST_F(ProxyCommands, KeepWhatElseTheFileHas) {
  folder_.write("proxy.json", R"({"type":2,"fail":{"get_proxy":5}})");
  EXPECT_EQ(proxy({"set", "--host", "h", "--port", "81"}).code, devkit::exit_code::ok);
  EXPECT_EQ(file()["type"], 2);
  EXPECT_EQ(file()["fail"]["get_proxy"], 5);
}

TEST_F(ProxyCommands, RefuseWhatTheProxyClientWouldNotTake) {
  EXPECT_EQ(proxy({"set", "--host", "h"}).code, devkit::exit_code::usage);
  EXPECT_EQ(proxy({"set", "--host", "h", "--port", "81", "--password", "p"}).code,
            devkit::exit_code::usage);
  EXPECT_EQ(proxy({"set", "--host", std::string(300, 'h'), "--port", "81"}).code,
            devkit::exit_code::usage);
  EXPECT_FALSE(std::filesystem::exists(path_));
  folder_.write("proxy.json", "rubbish");
  EXPECT_EQ(proxy({"show"}).code, devkit::exit_code::cannot_start);
  EXPECT_EQ(proxy({"off"}).code, devkit::exit_code::cannot_start);
}

TEST_F(ProxyCommands, LeadAProcessOfTheKitThroughTheProxy) {
  const OwnKit kit;
  devkit::Cloud cloud({});
  const devkit::Proxy real("u", "p");
  const auto request = [&] {
    EXPECT_EQ(run({"request", "--module", module_text(kit), "--cloud", cloud.address()}).code,
              devkit::exit_code::ok);
    return cloud.requests().back()["headers"].contains("X-Splice-Proxy");
  };
  EXPECT_FALSE(request());
  proxy({"set", "--host", "127.0.0.1", "--port", std::to_string(real.port()), "--user", "u",
         "--password", "p"});
  EXPECT_TRUE(request());
  proxy({"off"});
  EXPECT_FALSE(request());
}

}  // namespace

}  // namespace kit_test
