#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "_base/utf8.h"
#include "guardian/telemetry.h"
#include "platform/library.h"
#include "support/EventsRecorder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::guardian::telemetry;
using Strings = std::map<std::wstring, std::wstring>;
using Integers = std::map<std::wstring, std::int64_t>;
using Texts = std::vector<std::wstring>;

const std::wstring separator(1, platform::path_separator);

Strings child(const wchar_t* method, const wchar_t* field, const wchar_t* value) {
  return {{L"method", method}, {L"field", field}, {L"value", value}};
}

class Telemetry : public testing::Test {
 protected:
  Telemetry() { name_executable(L"app.service.exe"); }

  void name_executable(const std::wstring& name) {
    folder.seam().set_executable_name(separator + L"some.folder" + separator + name);
  }

  /// The only event of a test.
  support::PostedEvent posted() const {
    const auto events = recorder->posted();
    EXPECT_EQ(events.size(), 1u);
    return events.empty() ? support::PostedEvent{} : events.front();
  }

  /// What all reports on "a service" have in common.
  static void expect_report(const support::PostedEvent& event, const wchar_t* throttling) {
    EXPECT_EQ(event.name, L"m_cloud_guardian_report");
    EXPECT_EQ(event.version, L"1.0");
    EXPECT_EQ(event.type, 31u);
    EXPECT_TRUE(event.flag);
    EXPECT_EQ(event.strings, (Strings{{L"report_type", L"throttling"},
                                      {L"service", L"a service"},
                                      {L"throttling", throttling},
                                      {L"process_name", L"app.service"}}));
  }

  std::wstring reported_process_name() {
    recorder->clear();
    telemetry().post_throttling_disabled("service", 0, 0);
    return posted().strings[L"process_name"];
  }

  support::RecordingLog log;
  support::ModuleFolder folder;
  std::optional<support::EventsRecorder> recorder{folder.path()};
};

TEST_F(Telemetry, ReportsThatThrottlingBegan) {
  telemetry().post_throttling_enabled("a service", {{"31", 0, "ask"}, {"5.7", 2, "send"}});
  const auto event = posted();
  expect_report(event, L"enabled");
  EXPECT_TRUE(event.integers.empty());
  EXPECT_TRUE(event.string_lists.empty());
  EXPECT_TRUE(event.children.empty());
  ASSERT_EQ(event.child_lists.size(), 1u);
  const auto& errors = event.child_lists.at(L"errors");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].strings, child(L"ask", L"zvnc.status", L"31"));
  EXPECT_EQ(errors[1].strings, child(L"send", L"error.data.code", L"5.7"));
  for (const auto& error : errors) {
    EXPECT_TRUE(error.integers.empty());
    EXPECT_TRUE(error.string_lists.empty());
    EXPECT_TRUE(error.children.empty());
    EXPECT_TRUE(error.child_lists.empty());
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Telemetry, ReportsThatThrottlingEnded) {
  telemetry().post_throttling_disabled("a service", 7, 0xffffffff);
  const auto event = posted();
  expect_report(event, L"disabled");
  EXPECT_EQ(event.integers,
            (Integers{{L"blocked_requests", 7}, {L"allowed_requests", 0xffffffff}}));
  EXPECT_TRUE(event.child_lists.empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Telemetry, ReportsCountsOfZeroToo) {
  telemetry().post_throttling_disabled("a service", 0, 0);
  EXPECT_EQ(posted().integers, (Integers{{L"blocked_requests", 0}, {L"allowed_requests", 0}}));
}

TEST_F(Telemetry, HasNoListOfErrorsIfNoneIsKnown) {
  telemetry().post_throttling_enabled("a service", {});
  EXPECT_TRUE(posted().child_lists.empty());
  EXPECT_TRUE(posted().integers.empty());
}

TEST_F(Telemetry, KeepsTheErrorsInTheirOrder) {
  std::vector<request_failure> errors;
  Texts expected;
  for (int number = 0; number < 20; ++number) {
    errors.push_back({std::to_string(number), 1, "method"});
    expected.push_back(std::to_wstring(number));
  }
  telemetry().post_throttling_enabled("a service", errors);
  Texts values;
  const auto event = posted();
  for (const auto& error : event.child_lists.at(L"errors")) {
    values.push_back(error.strings.at(L"value"));
  }
  EXPECT_EQ(values, expected);
}

TEST_F(Telemetry, NamesTheFieldOfAnError) {
  const std::map<std::int32_t, std::wstring> names = {
      {0, L"zvnc.status"}, {1, L"error.code"}, {2, L"error.data.code"}, {3, L""},
      {-1, L""},           {INT32_MIN, L""}};
  for (const auto& [field, name] : names) {
    recorder->clear();
    telemetry().post_throttling_enabled("a service", {{"1", field, "ask"}});
    EXPECT_EQ(posted().child_lists[L"errors"].at(0).strings[L"field"], name) << field;
  }
}

TEST_F(Telemetry, WidensItsTextsFromUtf8) {
  telemetry().post_throttling_enabled("\xc3\xa4\xf0\x9f\x98\x80",
                                      {{"\xe2\x82\xac", 0, "m\xc3\xbc"}, {"", 0, "\xff"}});
  const auto event = posted();
  EXPECT_EQ(event.strings.at(L"service"), L"\u00e4\U0001f600");
  const auto& errors = event.child_lists.at(L"errors");
  EXPECT_EQ(errors.at(0).strings, child(L"m\u00fc", L"zvnc.status", L"\u20ac"));
  EXPECT_EQ(errors.at(1).strings, child(L"\ufffd", L"zvnc.status", L""));
}

TEST_F(Telemetry, LoadsTheClientAroundTheReport) {
  const std::wstring path = recorder->path().wstring();
  telemetry().post_throttling_disabled("a service", 1, 2);
  EXPECT_EQ(recorder->steps(),
            (Texts{L"create eceventsclient IServPlugin", L"Init without a host", L"Start",
                   L"QueryInterface IECEventsClient", L"post", L"Stop", L"UnInit",
                   L"QueryInterface IZvBaseInterface", L"destroy eceventsclient"}));
  recorder.reset();
  EXPECT_EQ(platform::find_loaded(path.c_str()), nullptr);
}

TEST_F(Telemetry, LogsARefusedReport) {
  recorder->fail_posts(1168);
  telemetry().post_throttling_enabled("a service", {});
  EXPECT_EQ(recorder->posted().size(), 1u) << "it is not repeated";
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::post", L"Failed to post event; err = 1168");
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(Telemetry, LogsARefusedReportOfTheEndAlike) {
  recorder->fail_posts(0xffffffff);
  telemetry().post_throttling_disabled("a service", 1, 1);
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::post",
                L"Failed to post event; err = 4294967295");
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(Telemetry, CostsOneLineWithoutALibrary) {
  const support::TemporaryFolder elsewhere;
  folder.seam().set_own_module_name(elsewhere.module_name(L"cloudsplicer").wstring());
  telemetry report;
  report.post_throttling_enabled("a service", {{"1", 0, "ask"}});
  report.post_throttling_disabled("a service", 1, 1);
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                L"Could not load the EC events DLL. Error 126");
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(recorder->steps().empty());
}

TEST_F(Telemetry, CostsOneLineIfTheClientCannotBeHad) {
  const std::map<std::wstring, std::uint32_t> failures = {
      {L"create", 1168}, {L"Init", 1627}, {L"Start", 5}};
  for (const auto& [step, number] : failures) {
    log.clear();
    recorder->fail(step.c_str(), number);
    telemetry().post_throttling_enabled("a service", {});
    recorder->fail(step.c_str(), 0);
    EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                  L"Could not load the EC events DLL. Error " + std::to_wstring(number));
    EXPECT_EQ(log.lines().size(), 1u);
  }
  EXPECT_TRUE(recorder->posted().empty());
}

TEST_F(Telemetry, CostsOneLineIfThePluginIsNoEventsClient) {
  recorder->fail(L"QueryInterface", 1);
  telemetry().post_throttling_enabled("a service", {});
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                L"Could not load the EC events DLL. Error 31");
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(recorder->posted().empty());
}

TEST_F(Telemetry, CostsOneLineWithoutAModuleFolder) {
  folder.seam().set_own_module_name(L"", 5);
  telemetry().post_throttling_enabled("a service", {});
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                L"Failed to get foldername; err = 5");
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(recorder->steps().empty());
}

TEST_F(Telemetry, TakesAModuleNameWithoutAFolderForAGeneralFailure) {
  folder.seam().set_own_module_name(L"cloudsplicer");
  telemetry().post_throttling_enabled("a service", {});
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::telemetry",
                L"Failed to get foldername; err = 31");
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(Telemetry, NamesTheProcessByTheStemOfItsProgram) {
  const std::map<std::wstring, std::wstring> stems = {
      {L"app.service.exe", L"app.service"},
      {L"app.exe", L"app"},
      {L"app", L"app"},
      {L"app.", L"app"},
      {L"app..exe", L"app."},
      {L"...", L".."},
      {L".", L"."},
      {L"..", L".."},
      {L".profile", L".profile"},
      {L".profile.exe", L".profile"},
      {L"..exe", L"."},
      {L"app.exe:stream", L"app"},
      {L"app.exe:stream.txt", L"app"},
      {L"app:a.b:c.d", L"app"},
      {L"..:stream", L".."},
      {L".app:stream.txt", L".app"},
      {L":stream", L""},
      {L"", L""},
      {L"Gr\u00f6\u00dfe.exe", L"Gr\u00f6\u00dfe"},
  };
  for (const auto& [name, stem] : stems) {
    name_executable(name);
    EXPECT_EQ(reported_process_name(), stem) << zv::to_utf8(name);
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Telemetry, NamesTheProcessByTheLastComponentOnly) {
  folder.seam().set_executable_name(L"app.exe");
  EXPECT_EQ(reported_process_name(), L"app");
  folder.seam().set_executable_name(L"/a.b/c.d/app");
  EXPECT_EQ(reported_process_name(), L"app");
}

TEST_F(Telemetry, ReportsAnEmptyNameIfTheProgramHasNone) {
  folder.seam().set_executable_name(L"", 5);
  EXPECT_EQ(reported_process_name(), L"");
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::get_process_name",
                L"this_process::get_filename err=5");
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(Telemetry, ReportsAnEmptyNameIfTheProgramHasNoneAndNothingIsSaid) {
  folder.seam().set_executable_name(L"", 0);
  EXPECT_EQ(reported_process_name(), L"");
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::get_process_name",
                L"this_process::get_filename err=0");
}

TEST_F(Telemetry, TakesANameThatFillsTheBufferForCutIfTheSystemComplains) {
  const std::wstring name = separator + std::wstring(32766, L'x');
  folder.seam().set_executable_name(name, 122);
  EXPECT_EQ(reported_process_name(), L"");
  EXPECT_LOGGED(log, 4, L"cloud::guardian::telemetry::get_process_name",
                L"this_process::get_filename err=122");
}

TEST_F(Telemetry, TakesALongNameThatFits) {
  const std::wstring name(32765, L'x');
  folder.seam().set_executable_name(separator + name, 122);
  EXPECT_EQ(reported_process_name(), name) << "a complaint alone is no failure";
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Telemetry, TakesANameThatFillsTheBufferAsItIsIfTheSystemDoesNotComplain) {
  folder.seam().set_executable_name(separator + std::wstring(40000, L'x'));
  EXPECT_EQ(reported_process_name(), std::wstring(32765, L'x'));
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
