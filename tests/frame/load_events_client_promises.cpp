// How the events client is had and let go.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "_base/events/ECEvent.h"
#include "_base/slots.h"
#include "frame/IECEventsClient.h"
#include "frame/load_events_client.h"
#include "platform/library.h"
#include "support/EventsRecorder.h"
#include "support/TemporaryFolder.h"

namespace {

using Steps = std::vector<std::wstring>;
using Strings = std::map<std::wstring, std::wstring>;

TEST(EventsClient, IsKnownByItsIdAndPostsThroughItsEighthOperation) {
  const IID id = {0x4a39a956, 0xfead, 0x848d, {0x25, 0x46, 0x1a, 0x03, 0xfe, 0x75, 0xd6, 0x4b}};
  EXPECT_TRUE(IID_ECEventsClient == id);
  EXPECT_EQ(slots::slot(&IECEventsClient::post), 7u);
}

class LoadEventsClient : public testing::Test {
 protected:
  plugin_handle<IECEventsClient> load() {
    return load_events_client(events.path().wstring().c_str(), status);
  }

  support::TemporaryFolder folder;
  support::EventsRecorder events{folder.path()};
  std::uint32_t status = 99;
};

const Steps loading = {L"create eceventsclient IServPlugin", L"Init without a host", L"Start",
                       L"QueryInterface IECEventsClient"};
const Steps ending = {L"Stop", L"UnInit", L"QueryInterface IZvBaseInterface",
                      L"destroy eceventsclient"};

TEST_F(LoadEventsClient, StartsThePluginAndAsksForItsInterface) {
  const auto client = load();
  ASSERT_TRUE(client);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(events.steps(), loading);
}

TEST_F(LoadEventsClient, WindsThePluginDownWithTheHandle) {
  auto client = load();
  events.clear();
  client.reset();
  EXPECT_EQ(events.steps(), ending);
}

TEST_F(LoadEventsClient, HandsEventsOver) {
  const auto client = load();
  ASSERT_TRUE(client);
  ECEvent event;
  event.SetName(L"told");
  event.SetString(L"a", L"b");
  EXPECT_EQ(client->post(&event, true, 0), 0u);
  ASSERT_EQ(events.posted().size(), 1u);
  EXPECT_EQ(events.posted()[0].name, L"told");
  EXPECT_EQ(events.posted()[0].strings, (Strings{{L"a", L"b"}}));
  EXPECT_EQ(events.posted()[0].type, 19u);
}

TEST_F(LoadEventsClient, GivesThirtyOneForAPluginWithoutTheInterface) {
  events.fail(L"QueryInterface", 1);
  EXPECT_FALSE(load());
  EXPECT_EQ(status, 31u);
  Steps steps = loading;
  steps.insert(steps.end(), ending.begin(), ending.end());
  EXPECT_EQ(events.steps(), steps);
}

TEST_F(LoadEventsClient, PassesOnWhatAStepFailedWith) {
  for (const wchar_t* step : {L"create", L"Init", L"Start"}) {
    events.fail(step, 77);
    EXPECT_FALSE(load());
    EXPECT_EQ(status, 77u);
    events.fail(step, 0);
  }
}

TEST_F(LoadEventsClient, IsEmptyWithoutTheLibrary) {
  const auto client = load_events_client((folder.path() / "none").wstring().c_str(), status);
  EXPECT_FALSE(client);
  EXPECT_NE(status, 0u);
}

TEST_F(LoadEventsClient, BindsTheLibraryAnewForEachHandle) {
  auto first = load();
  auto second = load();
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  first.reset();
  ECEvent event;
  EXPECT_EQ(second->post(&event, true, 0), 0u);
  EXPECT_EQ(events.posted().size(), 1u);
}

TEST(EventsClientLibrary, StaysAsLongAsAHandle) {
  const support::TemporaryFolder folder;
  const std::wstring path = folder.put_library(L"ecevents", L"ecevents").wstring();
  std::uint32_t status = 99;
  auto first = load_events_client(path.c_str(), status);
  auto second = load_events_client(path.c_str(), status);
  EXPECT_NE(platform::find_loaded(path.c_str()), nullptr);
  first.reset();
  EXPECT_NE(platform::find_loaded(path.c_str()), nullptr);
  second.reset();
  EXPECT_EQ(platform::find_loaded(path.c_str()), nullptr);
}

}  // namespace
