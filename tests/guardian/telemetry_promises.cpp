// What the back end hears of throttled services, and when.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guardian/telemetry.h"
#include "platform/library.h"
#include "support/BreakerTest.h"
#include "support/EventsRecorder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::telemetry;
using support::GuardianFolder;
using support::has_line;
using support::PostedEvent;
using support::stored_circuit;
using Strings = std::map<std::wstring, std::wstring>;
using Integers = std::map<std::wstring, std::int64_t>;
using Steps = std::vector<std::wstring>;

class Telemetry : public testing::Test {
 protected:
  Telemetry() : events(folder.path()) { name_program("reporter.exe"); }

  void name_program(const std::string& file) {
    folder.seam().set_executable_name((folder.path() / file).wstring());
  }
  PostedEvent enabled(const std::vector<request_failure>& errors = {}) {
    telemetry().post_throttling_enabled("svc", errors);
    return last();
  }
  PostedEvent disabled(std::uint32_t blocked = 0, std::uint32_t allowed = 0) {
    telemetry().post_throttling_disabled("svc", blocked, allowed);
    return last();
  }
  PostedEvent last() const {
    const auto posted = events.posted();
    if (posted.empty()) {
      ADD_FAILURE() << "nothing was posted";
      return {};
    }
    return posted.back();
  }
  static Strings common(const wchar_t* throttling) {
    return {{L"report_type", L"throttling"},
            {L"service", L"svc"},
            {L"throttling", throttling},
            {L"process_name", L"reporter"}};
  }

  support::RecordingLog log;
  support::ModuleFolder folder;
  support::EventsRecorder events;
};

TEST_F(Telemetry, TellsThatThrottlingBegan) {
  const PostedEvent event = enabled({{"20011", 0, "list"}});
  EXPECT_EQ(event.name, L"m_cloud_guardian_report");
  EXPECT_EQ(event.version, L"1.0");
  EXPECT_EQ(event.type, 31u);
  EXPECT_TRUE(event.flag);
  EXPECT_EQ(event.strings, common(L"enabled"));
  EXPECT_EQ(event.integers, Integers{});
  EXPECT_TRUE(event.string_lists.empty());
  EXPECT_TRUE(event.children.empty());
  ASSERT_EQ(event.child_lists.size(), 1u);
  const auto& errors = event.child_lists.at(L"errors");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].strings,
            (Strings{{L"method", L"list"}, {L"field", L"zvnc.status"}, {L"value", L"20011"}}));
  EXPECT_EQ(errors[0].integers, Integers{});
}

TEST_F(Telemetry, TellsThatThrottlingEnded) {
  const PostedEvent event = disabled(4294967295, 7);
  EXPECT_EQ(event.name, L"m_cloud_guardian_report");
  EXPECT_EQ(event.version, L"1.0");
  EXPECT_EQ(event.type, 31u);
  EXPECT_TRUE(event.flag);
  EXPECT_EQ(event.strings, common(L"disabled"));
  EXPECT_EQ(event.integers,
            (Integers{{L"blocked_requests", 4294967295}, {L"allowed_requests", 7}}));
  EXPECT_TRUE(event.string_lists.empty());
  EXPECT_TRUE(event.children.empty());
  EXPECT_TRUE(event.child_lists.empty());
}

TEST_F(Telemetry, NamesTheFieldOfEachErrorInTheirOrder) {
  const PostedEvent event =
      enabled({{"2", 2, "b"}, {"0", 0, "a"}, {"1", 1, "c"}, {"3", 3, ""}, {"", -1, "d"}});
  const auto& errors = event.child_lists.at(L"errors");
  std::vector<Strings> told;
  for (const auto& each : errors) told.push_back(each.strings);
  EXPECT_EQ(told, (std::vector<Strings>{
                      {{L"method", L"b"}, {L"field", L"error.data.code"}, {L"value", L"2"}},
                      {{L"method", L"a"}, {L"field", L"zvnc.status"}, {L"value", L"0"}},
                      {{L"method", L"c"}, {L"field", L"error.code"}, {L"value", L"1"}},
                      {{L"method", L""}, {L"field", L""}, {L"value", L"3"}},
                      {{L"method", L"d"}, {L"field", L""}, {L"value", L""}}}));
}

TEST_F(Telemetry, HasNoListForNoErrors) {
  EXPECT_TRUE(enabled().child_lists.empty());
}

TEST_F(Telemetry, TellsNamesInUtf8) {
  telemetry().post_throttling_enabled("s\xc3\xa9\xe4\xb8\xad", {{"v\xc3\xa9", 1, "m\xc3\xa9"}});
  const PostedEvent event = last();
  EXPECT_EQ(event.strings.at(L"service"), L"s\u00e9\u4e2d");
  const Strings error = event.child_lists.at(L"errors").at(0).strings;
  EXPECT_EQ(error.at(L"method"), L"m\u00e9");
  EXPECT_EQ(error.at(L"value"), L"v\u00e9");
}

// the client

TEST_F(Telemetry, KeepsTheClientWhileItLives) {
  {
    telemetry report;
    EXPECT_EQ(events.steps(), (Steps{L"create eceventsclient IServPlugin", L"Init without a host",
                                     L"Start", L"QueryInterface IECEventsClient"}));
    events.clear();
    report.post_throttling_disabled("svc", 0, 0);
    EXPECT_EQ(events.steps(), Steps{L"post"});
    events.clear();
  }
  EXPECT_EQ(events.steps(), (Steps{L"Stop", L"UnInit", L"QueryInterface IZvBaseInterface",
                                   L"destroy eceventsclient"}));
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(Telemetry, LogsAClientThatDoesNotStart) {
  for (const wchar_t* step : {L"create", L"Init", L"Start"}) {
    log.clear();
    events.fail(step, 77);
    telemetry report;
    EXPECT_EQ(log.lines(4).size(), 1u);
    EXPECT_TRUE(has_line(log, 4, L"Could not load the EC events DLL. Error 77"));
    report.post_throttling_enabled("svc", {{"1", 1, "m"}});
    report.post_throttling_disabled("svc", 1, 2);
    EXPECT_EQ(log.texts().size(), 1u) << "a report without a client is no failure";
    events.fail(step, 0);
  }
  EXPECT_TRUE(events.posted().empty());
}

TEST_F(Telemetry, LogsAClientWithoutTheInterface) {
  events.fail(L"QueryInterface", 1);
  const telemetry report;
  EXPECT_EQ(log.lines(4).size(), 1u);
  EXPECT_TRUE(has_line(log, 4, L"Could not load the EC events DLL. Error 31"));
}

TEST_F(Telemetry, LogsAPostThatFails) {
  events.fail_posts(5);
  telemetry report;
  report.post_throttling_enabled("svc", {});
  report.post_throttling_disabled("svc", 0, 0);
  EXPECT_EQ(log.count(4, L"cloud::guardian::telemetry::post", L"Failed to post event; err = 5"),
            2u);
  EXPECT_EQ(log.lines(4).size(), 2u);
}

TEST(TelemetryWithoutALibrary, CostsOneLineForEachAttempt) {
  const support::RecordingLog log;
  const support::ModuleFolder folder;
  for (std::size_t attempts = 1; attempts <= 2; ++attempts) {
    telemetry report;
    report.post_throttling_enabled("svc", {});
    ASSERT_EQ(log.lines(4).size(), attempts);
    EXPECT_TRUE(log.lines(4).back().text.starts_with(L"Could not load the EC events DLL. Error "));
    EXPECT_EQ(log.texts().size(), attempts);
  }
}

TEST(TelemetryWithoutALibrary, GetsNoFurtherWithoutTheModulesFolder) {
  const support::RecordingLog log;
  support::ModuleFolder folder;
  const support::EventsRecorder events(folder.path());
  folder.seam().set_own_module_name(L"", 126);
  telemetry report;
  report.post_throttling_disabled("svc", 0, 0);
  EXPECT_EQ(log.texts(), Steps{L"Failed to get foldername; err = 126"});
  EXPECT_TRUE(has_line(log, 4, L"Failed to get foldername; err = 126"));
  EXPECT_TRUE(events.steps().empty());
}

TEST(TelemetryWithoutALibrary, GetsNoFurtherByAModulesNameWithoutAFolder) {
  const support::RecordingLog log;
  support::ModuleFolder folder;
  folder.seam().set_own_module_name(L"cloudsplicer.dll");
  const telemetry report;
  EXPECT_EQ(log.texts(), Steps{L"Failed to get foldername; err = 31"});
}

TEST(TelemetryWithoutALibrary, LetsTheLibraryGo) {
  support::ModuleFolder folder;
  const support::TemporaryFolder loaded;
  const std::wstring library = loaded.put_library(L"ecevents", L"ecevents").wstring();
  folder.seam().set_own_module_name(loaded.module_name(L"cloudsplicer").wstring());
  {
    const telemetry report;
    EXPECT_NE(platform::find_loaded(library.c_str()), nullptr);
  }
  EXPECT_EQ(platform::find_loaded(library.c_str()), nullptr);
}

// the process

TEST_F(Telemetry, CallsTheProcessByTheStemOfItsProgram) {
  const std::pair<const char*, const wchar_t*> names[] = {{"app.service.exe", L"app.service"},
                                                          {"host", L"host"},
                                                          {"host.", L"host"},
                                                          {".hidden", L".hidden"},
                                                          {".hidden.exe", L".hidden"},
                                                          {"..name", L"."},
                                                          {".", L"."},
                                                          {"..", L".."},
                                                          {"host.exe:stream", L"host"},
                                                          {"host.exe:stream.txt", L"host"},
                                                          {"a b.c d.exe", L"a b.c d"}};
  for (const auto& [file, name] : names) {
    folder.seam().set_executable_name(
        folder.path().wstring() + platform::path_separator +
        std::wstring(file, file + std::char_traits<char>::length(file)));
    EXPECT_EQ(disabled().strings.at(L"process_name"), name) << file;
  }
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(Telemetry, CallsAProcessWithoutANameByAnEmptyOne) {
  folder.seam().set_executable_name(L"", 5);
  EXPECT_EQ(disabled().strings.at(L"process_name"), L"");
  EXPECT_TRUE(has_line(log, 4, L"this_process::get_filename err=5"));
  EXPECT_EQ(log.lines(4).size(), 1u);
}

TEST_F(Telemetry, TakesACutNameForNone) {
  folder.seam().set_executable_name(std::wstring(40000, L'x'), 122);
  EXPECT_EQ(disabled().strings.at(L"process_name"), L"");
  EXPECT_TRUE(has_line(log, 4, L"this_process::get_filename err=122"));
}

TEST_F(Telemetry, TakesANameThatFillsItsRoomWithoutAnErrorForOne) {
  folder.seam().set_executable_name(std::wstring(40000, L'x'), 0);
  const std::wstring name = disabled().strings.at(L"process_name");
  EXPECT_GE(name.size(), 32766u);
  EXPECT_EQ(name.find_first_not_of(L'x'), std::wstring::npos);
  EXPECT_TRUE(log.nothing_logged(4));
}

// the moments

class TelemetryOfABreaker : public support::BreakerTest {
 protected:
  std::vector<Strings> told() const {
    std::vector<Strings> texts;
    for (const PostedEvent& event : events.posted()) texts.push_back(event.strings);
    return texts;
  }
  std::size_t reports() const { return events.posted().size(); }
};

TEST_F(TelemetryOfABreaker, TellsWhenACircuitOpens) {
  make_breaker();
  fail({"20011", 0, "a"});
  fail({"32003", 1, "b"});
  EXPECT_EQ(reports(), 0u);
  fail({"32005.1011", 2, "c"});
  ASSERT_EQ(reports(), 1u);
  const PostedEvent event = events.posted()[0];
  EXPECT_EQ(event.strings.at(L"throttling"), L"enabled");
  EXPECT_EQ(event.strings.at(L"service"), L"svc");
  ASSERT_EQ(event.child_lists.at(L"errors").size(), 3u);
  EXPECT_EQ(
      event.child_lists.at(L"errors")[2].strings,
      (Strings{{L"method", L"c"}, {L"field", L"error.data.code"}, {L"value", L"32005.1011"}}));
}

TEST_F(TelemetryOfABreaker, TellsOfNoErrorsWhereNoneHadDetail) {
  make_breaker();
  fail();
  fail();
  fail();
  ASSERT_EQ(reports(), 1u);
  EXPECT_TRUE(events.posted()[0].child_lists.empty());
}

TEST_F(TelemetryOfABreaker, SaysNothingWhenACircuitHalfOpens) {
  make_breaker(stored_circuit(circuit_state::open));
  succeed();
  EXPECT_EQ(stored().at("state"), 2);
  EXPECT_EQ(reports(), 0u);
}

TEST_F(TelemetryOfABreaker, SaysNothingWhenAHalfOpenCircuitOpensAgain) {
  make_breaker(stored_circuit(circuit_state::half_open));
  fail();
  EXPECT_EQ(stored().at("state"), 1);
  EXPECT_EQ(reports(), 0u);
}

TEST_F(TelemetryOfABreaker, TellsItsCountsWhenACircuitCloses) {
  make_breaker(with(stored_circuit(circuit_state::half_open),
                    {{"counter", 2}, {"blocked", 40}, {"allowed", 6}}));
  succeed();
  EXPECT_EQ(stored().at("state"), 0);
  ASSERT_EQ(reports(), 1u);
  EXPECT_EQ(events.posted()[0].strings.at(L"throttling"), L"disabled");
  EXPECT_EQ(events.posted()[0].integers,
            (Integers{{L"blocked_requests", 40}, {L"allowed_requests", 7}}));
  EXPECT_EQ(stored().at("blocked"), 0);
}

TEST_F(TelemetryOfABreaker, TellsItsCountsAfterAQuietTime) {
  make_breaker(with(stored_circuit(circuit_state::open, in_seconds(-1801)),
                    {{"blocked", 3}, {"allowed", 1}}));
  EXPECT_TRUE(ask());
  ASSERT_EQ(reports(), 1u);
  EXPECT_EQ(events.posted()[0].strings.at(L"throttling"), L"disabled");
  EXPECT_EQ(events.posted()[0].integers,
            (Integers{{L"blocked_requests", 3}, {L"allowed_requests", 1}}));
  EXPECT_EQ(stored().at("state"), 0);
}

TEST_F(TelemetryOfABreaker, TellsOfACircuitThatANewConfigurationCloses) {
  make_breaker(with(stored_circuit(circuit_state::open), {{"blocked", 3}, {"allowed", 1}}));
  guardian_config other = GuardianFolder::config();
  other.threshold = 9;
  breaker->OnSettingsChanged(support::config_text(other).c_str());
  ASSERT_EQ(reports(), 1u);
  EXPECT_EQ(events.posted()[0].strings.at(L"throttling"), L"disabled");
  EXPECT_EQ(events.posted()[0].integers,
            (Integers{{L"blocked_requests", 3}, {L"allowed_requests", 1}}));
}

TEST_F(TelemetryOfABreaker, SaysNothingOfACircuitThatAnothersConfigurationCloses) {
  make_breaker(stored_circuit(circuit_state::open, in_seconds(1000)));
  guardian_config other = GuardianFolder::config();
  other.threshold = 9;
  folder.write_cache(support::config_text(other));
  support::storage_in(*breaker).on_modified(L"folder", L"cloud_guardian_settings_cache.json");
  EXPECT_TRUE(ask());
  EXPECT_EQ(stored().at("state"), 0);
  EXPECT_EQ(reports(), 0u);
}

TEST_F(TelemetryOfABreaker, LetsTheTransitionGoOnWithoutAClient) {
  events.fail(L"create", 5);
  make_breaker();
  fail();
  fail();
  fail();
  EXPECT_EQ(stored().at("state"), 1);
  EXPECT_FALSE(ask());
  EXPECT_TRUE(has_line(log, 4, L"Could not load the EC events DLL. Error 5"));
}

TEST_F(TelemetryOfABreaker, LetsTheTransitionGoOnWhenThePostFails) {
  events.fail_posts(5);
  make_breaker();
  fail();
  fail();
  fail();
  EXPECT_EQ(stored().at("state"), 1);
  EXPECT_EQ(log.count(4, L"cloud::guardian::telemetry::post", L"Failed to post event; err = 5"),
            1u);
}

}  // namespace
