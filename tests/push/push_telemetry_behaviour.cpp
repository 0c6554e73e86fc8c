#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/library.h"
#include "push/push_telemetry.h"
#include "support/EventsRecorder.h"
#include "support/ModuleFolder.h"
#include "support/RecordingLog.h"

namespace {

using cloud::push::push_telemetry;
using Texts = std::vector<std::wstring>;
using Strings = std::map<std::wstring, std::wstring>;

const wchar_t* const constructor = L"push_telemetry::push_telemetry";
const wchar_t* const scope = L"push_telemetry::post_push_event_received_karma_event";

class PushTelemetry : public testing::Test {
 protected:
  support::RecordingLog log;
  support::ModuleFolder folder;
  std::optional<support::EventsRecorder> recorder{folder.path()};
};

TEST_F(PushTelemetry, QuotesTheIdentifierOfThePush) {
  push_telemetry telemetry;
  telemetry.post_push_event_received_karma_event("an id");
  ASSERT_EQ(recorder->posted().size(), 1u);
  const support::PostedEvent event = recorder->posted().front();
  EXPECT_EQ(event.name, L"push_event_emitted");
  EXPECT_EQ(event.version, L"2.0");
  EXPECT_EQ(event.type, 31u);
  EXPECT_TRUE(event.flag);
  EXPECT_EQ(event.strings,
            (Strings{{L"push_event_name", L"push_delivery_latency"}, {L"latency_id", L"an id"}}));
  EXPECT_TRUE(event.integers.empty());
  EXPECT_TRUE(event.string_lists.empty());
  EXPECT_TRUE(event.children.empty());
  EXPECT_TRUE(event.child_lists.empty());
}

TEST_F(PushTelemetry, PostsAnEmptyIdentifierAsItStands) {
  push_telemetry telemetry;
  telemetry.post_push_event_received_karma_event("");
  ASSERT_EQ(recorder->posted().size(), 1u);
  EXPECT_EQ(recorder->posted().front().strings.at(L"latency_id"), L"");
}

TEST_F(PushTelemetry, WidensTheIdentifierFromUtf8) {
  push_telemetry telemetry;
  telemetry.post_push_event_received_karma_event("\xe2\x82\xac\xf0\x9f\x98\x80");
  ASSERT_EQ(recorder->posted().size(), 1u);
  EXPECT_EQ(recorder->posted().front().strings.at(L"latency_id"), L"\u20ac\U0001f600");
}

TEST_F(PushTelemetry, HoldsTheClientForLife) {
  {
    push_telemetry telemetry;
    telemetry.post_push_event_received_karma_event("one");
    telemetry.post_push_event_received_karma_event("two");
  }
  EXPECT_EQ(recorder->steps(),
            (Texts{L"create eceventsclient IServPlugin", L"Init without a host", L"Start",
                   L"QueryInterface IECEventsClient", L"post", L"post", L"Stop", L"UnInit",
                   L"QueryInterface IZvBaseInterface", L"destroy eceventsclient"}));
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushTelemetry, TracesEachPost) {
  push_telemetry telemetry;
  EXPECT_FALSE(log.traced(scope));
  telemetry.post_push_event_received_karma_event("id");
  EXPECT_TRUE(log.traced(scope));
  EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(PushTelemetry, IsSilentAboutARefusedPost) {
  push_telemetry telemetry;
  recorder->fail_posts(1234);
  telemetry.post_push_event_received_karma_event("id");
  EXPECT_EQ(recorder->posted().size(), 1u);
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushTelemetry, DoesWithoutTheEventsLibraryAtTheCostOfOneLine) {
  recorder.reset();
  std::filesystem::remove(folder.path() / platform::library_file_name(L"ecevents"));
  push_telemetry telemetry;
  const Texts texts = log.texts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts.front(), L"Could not load the EC events DLL. Error 126.");
  EXPECT_LOGGED(log, 4, constructor, texts.front());

  log.clear();
  telemetry.post_push_event_received_karma_event("id");
  EXPECT_TRUE(log.traced(scope));
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(PushTelemetry, TellsTheNumberOfTheLoadThatFailed) {
  for (const wchar_t* const step : {L"create", L"Init", L"Start", L"QueryInterface"}) {
    log.clear();
    recorder->clear();
    recorder->fail(step, 1234);
    push_telemetry telemetry;
    telemetry.post_push_event_received_karma_event("id");
    EXPECT_TRUE(recorder->posted().empty()) << step;
    ASSERT_EQ(log.texts().size(), 1u) << step;
    EXPECT_EQ(log.lines(4).front().function, constructor);
    EXPECT_EQ(log.texts().front(), std::wstring(step) == L"QueryInterface"
                                       ? L"Could not load the EC events DLL. Error 31."
                                       : L"Could not load the EC events DLL. Error 1234.");
    recorder->fail(step, 0);
  }
}

TEST_F(PushTelemetry, TellsThatItDoesNotKnowItsFolder) {
  folder.seam().set_own_module_name(L"", 1234);
  push_telemetry telemetry;
  telemetry.post_push_event_received_karma_event("id");
  EXPECT_EQ(log.texts(), Texts{L"Could not get current directory path. Error: 1234."});
  EXPECT_LOGGED(log, 4, constructor, L"Could not get current directory path. Error: 1234.");
  EXPECT_TRUE(recorder->steps().empty());
}

TEST_F(PushTelemetry, TellsThatItsNameHasNoFolder) {
  folder.seam().set_own_module_name(L"cloudsplicer");
  push_telemetry telemetry;
  EXPECT_LOGGED(log, 4, constructor, L"Could not get current directory path. Error: 31.");
}

TEST_F(PushTelemetry, IsForAnyNumberOfThreads) {
  push_telemetry telemetry;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int times = 0; times < 25; ++times) telemetry.post_push_event_received_karma_event("id");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(recorder->posted().size(), 100u);
}

}  // namespace
