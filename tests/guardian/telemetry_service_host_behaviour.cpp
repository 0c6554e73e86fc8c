#include <gtest/gtest.h>

#include <string>

#include "_base/abi.h"
#include "guardian/telemetry.h"
#include "platform/library.h"
#include "support/EventsRecorder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

const wchar_t* name_of_this_service = nullptr;

}  // namespace

/// This program is the host of a service, and says so.
ABI_EXPORT const wchar_t* GetServiceName() {
  return name_of_this_service;
}

namespace {

class TelemetryInAServiceHost : public testing::Test {
 protected:
  TelemetryInAServiceHost() {
    folder.seam().set_executable_name(std::wstring(1, platform::path_separator) + L"host.exe");
  }

  std::wstring reported_process_name() {
    recorder.clear();
    cloud::guardian::telemetry().post_throttling_disabled("service", 0, 0);
    const auto posted = recorder.posted();
    EXPECT_EQ(posted.size(), 1u);
    return posted.empty() ? L"" : posted.front().strings.at(L"process_name");
  }

  support::RecordingLog log;
  support::ModuleFolder folder;
  support::EventsRecorder recorder{folder.path()};
};

TEST_F(TelemetryInAServiceHost, NamesTheProcessAsTheHostDoes) {
  name_of_this_service = L"c:\\the service.name.exe";
  EXPECT_EQ(reported_process_name(), L"c:\\the service.name.exe");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(TelemetryInAServiceHost, TakesAnEmptyNameOfTheHost) {
  name_of_this_service = L"";
  EXPECT_EQ(reported_process_name(), L"");
}

TEST_F(TelemetryInAServiceHost, NamesTheProcessByItsProgramIfTheHostGivesNull) {
  name_of_this_service = nullptr;
  EXPECT_EQ(reported_process_name(), L"host");
}

TEST_F(TelemetryInAServiceHost, DoesNotNeedTheProgramsNameThen) {
  folder.seam().set_executable_name(L"", 5);
  name_of_this_service = L"service";
  EXPECT_EQ(reported_process_name(), L"service");
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
