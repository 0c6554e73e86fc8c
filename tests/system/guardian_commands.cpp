#include "_base/win_error.h"
#include "devkit/splicectl/exit_codes.h"
#include "guardian/service_info.h"
#include "system/command_line.h"

namespace kit_test {

namespace {

using nlohmann::json;

constexpr const char* packaged =
    R"({"circuit_config":{"threshold":5,"intervals":[{"min":1,"max":2},{"min":2,"max":4},)"
    R"({"min":5,"max":10}],"reset_threshold":30}})";
constexpr const char* long_breaks =
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":600,"max":600}],"reset_threshold":30}})";

/// A module's folder with a cloud, and the commands for them.
class GuardianCommands : public testing::Test {
 protected:
  GuardianCommands() {
    for (const char* const name : {"SPLICE_GUARDIAN_CONFIG", "SPLICE_EVENTS"})
      devkit::os::set_environment(name, std::nullopt);
    package(packaged);
  }

  void package(const char* config) const {
    json settings = json::parse(config);
    settings["storage_folder"] = "f";
    settings["storage_filename"] = "services.json";
    kit_.write("settings/cloud_guardian_settings.json", settings.dump());
  }

  Ended command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--module", module_text(kit_)});
    return run(arguments);
  }
  Ended circuits(std::vector<std::string> options) const {
    options.insert(options.begin(), "circuits");
    return command(options);
  }
  json circuits_json(std::vector<std::string> options = {}) const {
    options.push_back("--json");
    const Ended ended = circuits(options);
    EXPECT_EQ(ended.code, devkit::exit_code::ok) << ended.output;
    return json::parse(ended.output, nullptr, false);
  }
  Ended request(const char* service, const char* times = "1") const {
    return command({"request", "--json", "--cloud", cloud_.address(), "--service", service,
                    "--method", "get", "--times", times});
  }
  Ended set_config(const std::string& config) const {
    return command({"guardian", "config", "set", config});
  }
  json config() const {
    const Ended ended = command({"guardian", "config", "show", "--json"});
    EXPECT_EQ(ended.code, devkit::exit_code::ok) << ended.output;
    return json::parse(ended.output, nullptr, false);
  }
  std::filesystem::path lock_file() const {
    return kit_.path() / "settings" / "cloud" / "cloud_guardian_lock.lock";
  }
  std::filesystem::path services_file() const {
    return devkit::to_path(circuits_json({"--service", "x"})["file"].get<std::string>());
  }
  void write_services(const std::string& content) const {
    const std::filesystem::path file = services_file();
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  /// Two failures in one process, with a threshold of 2.
  void open_circuit(const char* service) {
    package(long_breaks);
    devkit::Fault failure = fault("http");
    failure.service = service;
    failure.status = 503;
    cloud_.faults().add(failure);
    request(service, "2");
    cloud_.faults().clear();
  }

  const OwnKit kit_;
  devkit::Cloud cloud_{devkit::Cloud::Options()};
};

TEST_F(GuardianCommands, SayThatThereAreNoCircuitsYet) {
  EXPECT_EQ(circuits({}).code, devkit::exit_code::cannot_start);
  const json told = circuits_json({"--service", "time"});
  EXPECT_TRUE(told["circuits"].empty());
  EXPECT_EQ(told["request"]["allowed"], true);
}

TEST_F(GuardianCommands, ShowAClosedCircuitAndItsFailures) {
  devkit::Fault failure = fault("http");
  failure.status = 503;
  cloud_.faults().add(failure);
  request("time");
  const json circuit = circuits_json()["circuits"][0];
  EXPECT_EQ(circuit["service"], "time");
  EXPECT_EQ(circuit["state"], "closed");
  EXPECT_EQ(circuit["counter"], 1);
  EXPECT_TRUE(circuit["seconds_to_probe"].is_null());
  EXPECT_EQ(circuit["errors"], json::parse(R"([{"method":"get","value":"20032","field":0}])"));
  EXPECT_EQ(circuit["request"]["allowed"], true);

  const Ended table = circuits({"--text"});
  EXPECT_NE(table.output.find("1 of 5"), std::string::npos) << table.output;
  EXPECT_NE(table.output.find("get 20032"), std::string::npos) << table.output;
}

TEST_F(GuardianCommands, ShowAnOpenCircuitThatRefusesAnotherProcess) {
  open_circuit("time");
  const Ended second = request("time");
  EXPECT_EQ(second.code, devkit::exit_code::request_failed);
  EXPECT_EQ(json::parse(second.output)["status"]["code"], win_error::access_denied);

  const json circuit = circuits_json()["circuits"][0];
  EXPECT_EQ(circuit["state"], "open");
  EXPECT_EQ(circuit["blocked"], 1);
  EXPECT_GT(circuit["seconds_to_probe"], 0);
  EXPECT_EQ(circuit["request"]["allowed"], false);
  const std::string why = circuit["request"]["why"];
  EXPECT_EQ(why.find("is refused: the circuit is open, and its break lasts another "), 0u) << why;
  EXPECT_EQ(circuits_json({"--service", "other"})["request"]["allowed"], true);
}

TEST_F(GuardianCommands, ExplainEachStateByTheModulesRules) {
  const auto why = [&](const std::string& record) {
    write_services(R"({"s":{"allowed":0,"blocked":0,"counter":1,"errors":[],)" + record + "}}");
    const json request = circuits_json()["circuits"][0]["request"];
    return std::make_pair(request["allowed"].get<bool>(), request["why"].get<std::string>());
  };
  const std::string now = std::to_string(platform::now_ticks() / ticks_per_second - 60);
  const auto begins = [](const std::string& text, const std::string& with) {
    return text.compare(0, with.size(), with) == 0;
  };

  auto [allowed, text] = why(R"("index":0,"state":0,"next_request_time":)" + now);
  EXPECT_TRUE(allowed);
  EXPECT_EQ(text, "passes: the circuit is closed; 1 failure in a row is counted, and 5 open it.");

  // An open circuit's probe begins the break of the next rung.
  std::tie(allowed, text) = why(R"("index":0,"state":1,"next_request_time":)" + now);
  EXPECT_TRUE(allowed);
  EXPECT_EQ(
      text,
      "passes as a probe: the circuit is open, but its break is over. Others then wait 2 to 4 "
      "s. A success half opens the circuit.");

  // A half open one's that of the rung below.
  std::tie(allowed, text) = why(R"("index":2,"state":2,"next_request_time":)" + now);
  EXPECT_TRUE(allowed);
  EXPECT_TRUE(begins(text,
                     "passes as a probe: the circuit is half open, but its break is over. Others "
                     "then wait 2 to 4 s. Successes so far: 1, and 5 close the circuit"))
      << text;

  std::tie(allowed, text) = why(R"("index":0,"state":2,"next_request_time":99999999999)");
  EXPECT_FALSE(allowed);
  EXPECT_TRUE(begins(text, "is refused: the circuit is half open")) << text;

  std::tie(allowed, text) = why(R"("index":0,"state":1,"next_request_time":1)");
  EXPECT_TRUE(allowed);
  EXPECT_TRUE(begins(text, "passes: the circuit was quiet for 30 minutes")) << text;

  std::tie(allowed, text) = why(R"("index":0,"state":7,"next_request_time":)" + now);
  EXPECT_TRUE(allowed);
  EXPECT_TRUE(begins(text, "passes: the file says unknown (7)")) << text;
}

TEST_F(GuardianCommands, ReadTheCircuitsOfEitherKindOfProcess) {
  EXPECT_NE(circuits_json({"--service", "x", "--elevated"})["file"],
            circuits_json({"--service", "x", "--unelevated"})["file"]);
}

TEST_F(GuardianCommands, RefuseBrokenFilesWithASentence) {
  write_services("[]");
  EXPECT_EQ(circuits({}).code, devkit::exit_code::cannot_start);
  kit_.write("settings/cloud_guardian_settings.json", "{}");
  EXPECT_EQ(circuits({}).code, devkit::exit_code::cannot_start);
  EXPECT_EQ(command({"guardian", "config", "show"}).code, devkit::exit_code::cannot_start);
  std::filesystem::remove(kit_.path() / "settings" / "cloud_guardian_settings.json");
  EXPECT_EQ(circuits({}).code, devkit::exit_code::cannot_start);
}

TEST_F(GuardianCommands, ShowEachChangeToAWatcher) {
  devkit::os::Process watcher(
      splicectl(), {"circuits", "--watch", "--text", "--for", "60", "--module", module_text(kit_)});
  EXPECT_NE(watcher.read_line().value_or("").find("there are no circuits yet"), std::string::npos);
  request("time");
  EXPECT_EQ(watcher.read_line().value_or("").find("service"), 0u);
  EXPECT_EQ(watcher.read_line().value_or("").find("time "), 0u);
  watcher.stop();
}

TEST_F(GuardianCommands, LeaveAWatcherFreeToEndWhileAnotherProcessHasTheLock) {
  open_circuit("time");
  devkit::os::FileLock lock(lock_file());
  ASSERT_TRUE(std::filesystem::exists(lock_file()));
  ASSERT_TRUE(lock.try_lock());
  EXPECT_EQ(circuits({"--watch", "--for", "0.5"}).code, devkit::exit_code::ok);
}

TEST_F(GuardianCommands, ShowAWatcherAChangeThatAFileTimeHides) {
  open_circuit("time");
  const auto time = std::filesystem::last_write_time(services_file());
  devkit::os::Process watcher(
      splicectl(), {"circuits", "--watch", "--json", "--for", "60", "--module", module_text(kit_)});
  ASSERT_NE(watcher.read_line().value_or("").find("\"time\""), std::string::npos);
  std::ifstream file(services_file(), std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(file), {}};
  file.close();
  const std::size_t name = content.find("\"time\"");
  ASSERT_NE(name, std::string::npos) << content;
  write_services(content.replace(name, 6, "\"emit\""));
  std::filesystem::last_write_time(services_file(), time);
  std::string line;
  do line = watcher.read_line().value_or("");
  while (!line.empty() && line.find("\"emit\"") == std::string::npos);
  EXPECT_FALSE(line.empty());
  watcher.stop();
}

TEST_F(GuardianCommands, LeaveNoLockFileBehind) {
  std::filesystem::create_directories(lock_file().parent_path());
  circuits({});
  circuits({"--watch", "--for", "0.2"});
  config();
  EXPECT_FALSE(std::filesystem::exists(lock_file()));
}

TEST_F(GuardianCommands, GiveAWatcherOfJsonNothingElse) {
  EXPECT_EQ(circuits({"--watch", "--json", "--for", "0.5"}).output, "");
}

TEST_F(GuardianCommands, TakeAnEmptyConfigurationForNone) {
  kit_.write("guardian_config.json", "");
  EXPECT_TRUE(config()["cloud"].is_null());
  const Ended told = command({"guardian", "config", "show", "--text"});
  EXPECT_NE(told.output.find("The cloud says nothing now."), std::string::npos) << told.output;
}

TEST_F(GuardianCommands, ShowWhichConfigurationIsInForce) {
  EXPECT_EQ(config()["source"], "packaged");
  EXPECT_EQ(config()["config"]["circuit_config"]["threshold"], 5);
  EXPECT_TRUE(config()["cloud"].is_null());

  ASSERT_EQ(set_config(long_breaks).code, devkit::exit_code::ok);
  EXPECT_EQ(config()["source"], "packaged");
  EXPECT_EQ(config()["cloud"], json::parse(long_breaks));

  // The next host hears of it, and keeps it.
  devkit::os::Process host(splicectl(), {"host", "--cloud", cloud_.address(), "--for", "60",
                                         "--module", module_text(kit_)});
  json now = config();
  for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
       now["source"] != "cache" && std::chrono::steady_clock::now() < end;)
    now = config();
  host.stop();
  EXPECT_EQ(now["source"], "cache");
  EXPECT_EQ(now["config"], json::parse(long_breaks));

  ASSERT_EQ(command({"guardian", "config", "clear"}).code, devkit::exit_code::ok);
  EXPECT_TRUE(config()["cloud"].is_null());
  EXPECT_EQ(config()["source"], "cache");
}

TEST_F(GuardianCommands, SayThatTheCacheIsBroken) {
  std::filesystem::create_directories(kit_.path() / "settings" / "cloud");
  kit_.write("settings/cloud/cloud_guardian_settings_cache.json", "{}");
  EXPECT_EQ(config()["source"], "packaged");
  EXPECT_NE(config()["cache_complaint"], "");
}

TEST_F(GuardianCommands, SetAConfigurationFromAFileOrFromJsonOnly) {
  const Folder folder;
  const std::string good = devkit::path_text(folder.write("good.json", long_breaks));
  EXPECT_EQ(set_config(good).code, devkit::exit_code::ok);
  EXPECT_EQ(config()["cloud"], json::parse(long_breaks));

  EXPECT_EQ(set_config(R"({"circuit_config":{"threshold":2}})").code, devkit::exit_code::usage);
  EXPECT_EQ(set_config(devkit::path_text(folder.write("bad.json", "[]"))).code,
            devkit::exit_code::usage);
  EXPECT_EQ(set_config("no-such-file").code, devkit::exit_code::cannot_start);
  EXPECT_EQ(config()["cloud"], json::parse(long_breaks));
}

TEST_F(GuardianCommands, ShowTheReportsAsTheyCome) {
  EXPECT_EQ(command({"telemetry"}).code, devkit::exit_code::cannot_start);
  devkit::os::Process follower(splicectl(), {"telemetry", "--follow", "--text", "--for", "60",
                                             "--module", module_text(kit_)});
  open_circuit("time");
  const std::string line = follower.read_line().value_or("");
  follower.stop();
  EXPECT_NE(line.find("time: requests are held back (splicectl); failures: get zvnc.status 20032, "
                      "get zvnc.status 20032"),
            std::string::npos)
      << line;

  const Ended shown = command({"telemetry", "--json"});
  EXPECT_EQ(shown.code, devkit::exit_code::ok);
  const json event = json::parse(shown.output, nullptr, false);
  EXPECT_EQ(event["name"], "m_cloud_guardian_report");
  EXPECT_EQ(event["strings"]["throttling"], "enabled");
}

TEST_F(GuardianCommands, TellOfALineThatIsNoEvent) {
  kit_.write("ecevents.jsonl", "rubbish\n{\"name\":\"other\",\"version\":\"2\",\"extra\":7}\n");
  const Ended shown = command({"telemetry", "--text"});
  EXPECT_EQ(shown.code, devkit::exit_code::cannot_start);
  EXPECT_NE(shown.output.find("other 2 {\"extra\":7}"), std::string::npos) << shown.output;
}

TEST_F(GuardianCommands, ShowEventsOfAnyShape) {
  kit_.write("ecevents.jsonl",
             R"({"name":"m_cloud_guardian_report","strings":[1]})"
             "\n"
             R"({"name":"m_cloud_guardian_report","child_lists":{"errors":[5,[1],null,{}]},)"
             R"("strings":{"report_type":"throttling","throttling":"enabled","service":{}}})"
             "\n");
  const Ended shown = command({"telemetry", "--text"});
  EXPECT_EQ(shown.code, devkit::exit_code::ok) << shown.output;
  EXPECT_NE(shown.output.find("{}: requests are held back (?); failures: ? ? ?, ? ? ?"),
            std::string::npos)
      << shown.output;
}

}  // namespace

}  // namespace kit_test
