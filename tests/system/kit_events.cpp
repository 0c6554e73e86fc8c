#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"
#include "_base/waiting.h"
#include "frame/load_events_client.h"
#include "system/OwnKit.h"
#include "system/ask_echo.h"

namespace kit_test {

namespace {

using nlohmann::json;

constexpr int events_of_a_process = 200;

std::vector<json> events(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<json> all;
  for (std::string line; std::getline(file, line);) all.push_back(json::parse(line));
  return all;
}

/// The kit's events client, its file in a folder of its own.
class KitEvents : public testing::Test {
 protected:
  plugin_handle<IECEventsClient> load() {
    const std::filesystem::path path =
        std::filesystem::path(KIT_FOLDER) / devkit::os::library_name("ecevents");
    return load_events_client(path.wstring().c_str(), status);
  }
  /// What a post, which succeeds, says of a wish for failures that came after the loading.
  std::string said_of_wish(const char* wish) {
    const auto client = load();
    EXPECT_EQ(status, 0u);
    if (!client) return {};
    const Variable failing("SPLICE_EVENTS_FAIL", wish);
    ECEvent event;
    testing::internal::CaptureStderr();
    EXPECT_EQ(client->post(&event, true, 0), 0u);
    return testing::internal::GetCapturedStderr();
  }

  const Folder folder_;
  const std::filesystem::path file_ = folder_.path() / "events.jsonl";
  const Variable named_{"SPLICE_EVENTS", devkit::path_text(file_)};
  std::uint32_t status = ~0u;
};

TEST_F(KitEvents, WritesAllThatAnEventHoldsAsOneLine) {
  ECEvent event;
  event.SetName(L"na\u00efve \"name\"");
  event.SetVersion(L"1.0");
  event.SetString(L"text", L"two\nlines");
  event.SetString(L"empty", L"");
  event.SetInteger(L"least", std::numeric_limits<std::int64_t>::min());
  zv::List<zv::StringT<wchar_t>> list;
  list.PushBack(L"first");
  list.PushBack(L"second");
  event.SetStringList(L"list", &list);
  ECChildEvent child;
  child.SetString(L"method", L"greet");
  event.SetChild(L"child", &child);
  child.SetInteger(L"number", 2);
  event.AddChild(L"errors", &child);
  event.AddChild(L"errors", &child);
  event.SetType(31);

  const auto client = load();
  ASSERT_EQ(status, 0u);
  EXPECT_EQ(client->post(&event, true, 0), 0u);
  std::vector<json> lines = events(file_);
  ASSERT_EQ(lines.size(), 1u);
  json line = lines[0];
  EXPECT_EQ(line["process"], devkit::os::process_id());
  const auto time = line["time"].get<std::string>();
  EXPECT_EQ(time.size(), std::string("2001-02-03T04:05:06.789Z").size()) << time;
  line.erase("process");
  line.erase("time");

  const json nothing = json::object();
  json expected_child = {{"strings", {{"method", "greet"}}},
                         {"integers", nothing},
                         {"string_lists", nothing},
                         {"children", nothing},
                         {"child_lists", nothing}};
  json expected = {{"name", "na\xC3\xAFve \"name\""},
                   {"version", "1.0"},
                   {"type", 31},
                   {"strings", {{"text", "two\nlines"}, {"empty", ""}}},
                   {"integers", {{"least", std::numeric_limits<std::int64_t>::min()}}},
                   {"string_lists", {{"list", json::array({"first", "second"})}}},
                   {"children", {{"child", expected_child}}}};
  expected_child["integers"] = {{"number", 2}};
  expected["child_lists"] = {{"errors", json::array({expected_child, expected_child})}};
  EXPECT_EQ(line, expected);
}

TEST_F(KitEvents, LieBesideTheLibraryUnlessToldOtherwise) {
  devkit::os::set_environment("SPLICE_EVENTS", std::nullopt);
  const std::filesystem::path name = devkit::os::library_name("ecevents");
  std::filesystem::copy_file(KIT_FOLDER / name, folder_.path() / name);
  const auto client = load_events_client((folder_.path() / name).wstring().c_str(), status);
  ASSERT_EQ(status, 0u);
  ECEvent event;
  EXPECT_EQ(client->post(&event, true, 0), 0u);
  EXPECT_EQ(events(folder_.path() / "ecevents.jsonl").size(), 1u);
}

TEST_F(KitEvents, RefusesEventsOnDemand) {
  const auto client = load();
  ASSERT_EQ(status, 0u);
  ECEvent event;
  {
    const Variable failing("SPLICE_EVENTS_FAIL", "1460");
    EXPECT_EQ(client->post(&event, true, 0), 1460u);
  }
  EXPECT_FALSE(std::filesystem::exists(file_));
  EXPECT_EQ(client->post(&event, true, 0), 0u);
  EXPECT_EQ(client->post(nullptr, true, 0), 87u);
  EXPECT_EQ(events(file_).size(), 1u);
}

TEST_F(KitEvents, AreNotToBeHadOnDemand) {
  for (const auto& [wish, number] :
       {std::pair("Init:5", 5u), std::pair("post:7,Start:6", 6u), std::pair("ZvCreateObject:8", 8u),
        std::pair("QueryInterface:1", 31u)}) {
    const Variable failing("SPLICE_EVENTS_FAIL", wish);
    EXPECT_FALSE(load()) << wish;
    EXPECT_EQ(status, number) << wish;
  }
}

TEST_F(KitEvents, SayWhichWishIsUnreadableAndGoOn) {
  const std::string said = said_of_wish("often");
  EXPECT_NE(said.find("SPLICE_EVENTS_FAIL: \"often\""), std::string::npos) << said;
}

TEST_F(KitEvents, SayWhatCanFailToAWishThatNamesNothing) {
  const std::string said = said_of_wish("Psot:5");
  EXPECT_NE(said.find("\"Psot:5\" names nothing that can fail; there are post, "),
            std::string::npos)
      << said;
}

TEST_F(KitEvents, SayThatTheyCannotBeWritten) {
  const auto client = load();
  ASSERT_EQ(status, 0u);
  const Variable folder("SPLICE_EVENTS", devkit::path_text(folder_.path()));
  ECEvent event;
  testing::internal::CaptureStderr();
  EXPECT_EQ(client->post(&event, true, 0), 29u);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find(devkit::path_text(folder_.path())), std::string::npos) << said;
}

/// Also what the processes of the next test run.
TEST(EventPoster, PostsToWhateverFileItIsTold) {
  const Folder folder;
  std::optional<Variable> own;
  if (!devkit::os::environment("SPLICE_EVENTS"))
    own.emplace("SPLICE_EVENTS", devkit::path_text(folder.path() / "events.jsonl"));
  std::uint32_t status = 0;
  const auto client = load_events_client(
      (std::filesystem::path(KIT_FOLDER) / devkit::os::library_name("ecevents")).wstring().c_str(),
      status);
  ASSERT_EQ(status, 0u);
  ECEvent event;
  event.SetString(L"long", std::wstring(5000, L'x').c_str());
  for (int i = 0; i < events_of_a_process; ++i) ASSERT_EQ(client->post(&event, true, 0), 0u);
}

TEST_F(KitEvents, StayWholeLinesWhenSeveralProcessesPostAtOnce) {
  constexpr int processes = 4;
  std::vector<std::unique_ptr<devkit::os::Process>> posters;
  for (int i = 0; i < processes; ++i) {
    posters.push_back(std::make_unique<devkit::os::Process>(
        devkit::os::program(), std::vector<std::string>{"--gtest_filter=EventPoster.*"}));
  }
  std::map<std::uint32_t, int> seen;
  for (const auto& poster : posters) {
    const std::string output = poster->read_all();
    EXPECT_EQ(poster->wait(), 0) << output;
  }
  for (const json& event : events(file_)) ++seen[event["process"].get<std::uint32_t>()];
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(processes));
  for (const auto& [process, count] : seen) EXPECT_EQ(count, events_of_a_process) << process;
}

/// The module with everything of the kit around it.
class ModuleEvents : public testing::Test {
 protected:
  ModuleEvents() { kit_.write_guardian_settings(2); }

  std::vector<json> reports() { return events(kit_.path() / "ecevents.jsonl"); }

  devkit::Cloud cloud_{{}};
  const OwnKit kit_;
  const Variable address_{"SPLICE_CLOUD", cloud_.address()};
};

TEST_F(ModuleEvents, TellOfACircuitThatOpensAndOfTheSameOneClosing) {
  devkit::Host host(kit_.module());
  devkit::Fault failure = fault("error");
  failure.count = 2;
  cloud_.faults().add(failure);
  ask_echo(host);
  EXPECT_TRUE(reports().empty());
  ask_echo(host);
  ASSERT_EQ(reports().size(), 1u);
  json report = reports()[0];
  EXPECT_EQ(report["name"], "m_cloud_guardian_report");
  EXPECT_EQ(report["version"], "1.0");
  EXPECT_EQ(report["type"], 31);
  EXPECT_EQ(report["strings"]["report_type"], "throttling");
  EXPECT_EQ(report["strings"]["service"], "connect/echo");
  EXPECT_EQ(report["strings"]["throttling"], "enabled");
  EXPECT_EQ(report["strings"]["process_name"], devkit::path_text(devkit::os::program().stem()));
  const json& errors = report["child_lists"]["errors"];
  ASSERT_EQ(errors.size(), 2u);
  for (const json& error : errors) {
    EXPECT_EQ(error["strings"],
              json({{"method", "greet"}, {"field", "error.code"}, {"value", "32003"}}));
  }

  EXPECT_TRUE(waiting::until([&] { return ask_echo(host).is_ok() && reports().size() == 2; }));
  report = reports()[1];
  EXPECT_EQ(report["strings"]["throttling"], "disabled");
  EXPECT_GE(report["integers"]["allowed_requests"].get<int>(), 3);
  EXPECT_TRUE(report["integers"].contains("blocked_requests"));
}

TEST_F(ModuleEvents, ThatNobodyTakesStopNoRequest) {
  const Variable failing("SPLICE_EVENTS_FAIL", "5");
  devkit::Host host(kit_.module());
  devkit::Fault failure = fault("error");
  failure.count = 2;
  cloud_.faults().add(failure);
  EXPECT_TRUE(ask_echo(host).is_ok());
  EXPECT_TRUE(ask_echo(host).is_ok());
  EXPECT_TRUE(waiting::until([&] { return ask_echo(host).is_ok(); }));
  EXPECT_TRUE(reports().empty());
}

}  // namespace

}  // namespace kit_test
