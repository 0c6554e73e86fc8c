#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "_base/events/ECEvent.h"
#include "_base/slots.h"
#include "frame/load_events_client.h"
#include "platform/library.h"
#include "support/EventsRecorder.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

namespace {

using Steps = std::vector<std::wstring>;

const Steps way_in = {L"create eceventsclient IServPlugin", L"Init without a host", L"Start",
                      L"QueryInterface IECEventsClient"};
const Steps way_out = {L"Stop", L"UnInit", L"QueryInterface IZvBaseInterface",
                       L"destroy eceventsclient"};

Steps operator+(Steps first, const Steps& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

class LoadEventsClient : public testing::Test {
 protected:
  plugin_handle<IECEventsClient> load() { return load_events_client(path.c_str(), status); }
  bool is_loaded() const { return platform::find_loaded(path.c_str()) != nullptr; }

  support::RecordingLog log;
  const support::TemporaryFolder folder;
  std::optional<support::EventsRecorder> recorder{folder.path()};
  const std::wstring path = recorder->path().wstring();
  std::uint32_t status = 4711;
};

TEST_F(LoadEventsClient, GivesTheStartedClient) {
  const auto client = load();
  ASSERT_TRUE(client);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(recorder->steps(), way_in);
}

TEST_F(LoadEventsClient, PostsAnEventThroughTheClient) {
  const auto client = load();
  ASSERT_TRUE(client);
  ECEvent event;
  event.SetName(L"name");
  EXPECT_EQ(client->post(&event, true, 0), 0u);
  EXPECT_EQ(recorder->steps(), way_in + Steps{L"post"});
  ASSERT_EQ(recorder->posted().size(), 1u);
  EXPECT_EQ(recorder->posted().front().name, L"name");
  EXPECT_TRUE(recorder->posted().front().flag);
}

TEST_F(LoadEventsClient, GivesTheClientsRefusalBack) {
  const auto client = load();
  ASSERT_TRUE(client);
  recorder->fail_posts(1168);
  ECEvent event;
  EXPECT_EQ(client->post(&event, false, 0), 1168u);
  recorder->fail_posts(0);
  EXPECT_EQ(client->post(&event, false, 0), 0u);
  ASSERT_EQ(recorder->posted().size(), 2u);
  EXPECT_FALSE(recorder->posted().front().flag);
}

TEST_F(LoadEventsClient, WindsTheClientDownInOrderAndFreesTheLibraryLast) {
  auto client = load();
  recorder->clear();
  client.release_plugin();
  EXPECT_EQ(recorder->steps(), way_out);
  recorder.reset();
  EXPECT_TRUE(is_loaded()) << "only the releaser's end unloads";
  client.reset();
  EXPECT_FALSE(is_loaded());
}

TEST_F(LoadEventsClient, BindsTheLibraryAnewForEachHandle) {
  auto first = load();
  auto second = load();
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(recorder->steps(), way_in + way_in);

  first.reset();
  recorder->clear();
  ECEvent event;
  EXPECT_EQ(second->post(&event, true, 0), 0u);
  EXPECT_EQ(recorder->steps(), Steps{L"post"});
  recorder.reset();
  EXPECT_TRUE(is_loaded());
  second.reset();
  EXPECT_FALSE(is_loaded());
}

TEST_F(LoadEventsClient, FailsWithAGeneralFailureForAPluginWithoutTheInterface) {
  recorder->fail(L"QueryInterface", 1);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 31u);
  EXPECT_EQ(recorder->steps(), way_in + way_out);
  recorder.reset();
  EXPECT_FALSE(is_loaded());
}

TEST_F(LoadEventsClient, FailsWithTheNumberOfTheStepThatFailed) {
  for (const wchar_t* const step : {L"create", L"Init", L"Start"}) {
    recorder->fail(step, 1627);
    EXPECT_FALSE(load());
    EXPECT_EQ(status, 1627u);
    recorder->fail(step, 0);
  }
  EXPECT_TRUE(load());
  EXPECT_EQ(status, 0u);
}

TEST_F(LoadEventsClient, FailsForAMissingLibrary) {
  const std::wstring missing = folder.module_name(L"missing").wstring();
  EXPECT_FALSE(load_events_client(missing.c_str(), status));
  EXPECT_EQ(status, 126u);
}

TEST_F(LoadEventsClient, FailsForALibraryWithoutPlugins) {
  const std::wstring other = folder.put_library(L"answer", L"answer").wstring();
  EXPECT_FALSE(load_events_client(other.c_str(), status));
  EXPECT_EQ(status, 127u);
}

TEST_F(LoadEventsClient, LogsNothing) {
  recorder->fail(L"Start", 5);
  EXPECT_FALSE(load());
  EXPECT_TRUE(log.lines().empty());
}

TEST(IECEventsClient, PostsInItsEighthSlot) {
  EXPECT_EQ(slots::slot(&IECEventsClient::post), 7u);
}

}  // namespace
