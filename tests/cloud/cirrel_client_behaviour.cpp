#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cloud/cirrel_client.h"
#include "loadable/zvnc/symbols.h"
#include "platform/library.h"
#include "support/FakeCloudClient.h"
#include "support/RecordingLog.h"
#include "support/loadable.h"

namespace {

using support::FakeCloudClient;
using Calls = std::vector<std::string>;

#define NAME(symbol) #symbol,
const std::vector<const char*> symbols = {ZVNC_SYMBOLS(NAME)};

/// A library held by the test, so that the module finds it by its bare name.
class Preloaded {
 public:
  explicit Preloaded(const std::wstring& name) {
    std::uint32_t error = 0;
    module_ = platform::load_library(support::loadable(name).wstring().c_str(), error);
  }
  Preloaded(const Preloaded&) = delete;
  Preloaded& operator=(const Preloaded&) = delete;
  ~Preloaded() { platform::unload_library(module_); }

  platform::module_handle module() const { return module_; }

 private:
  platform::module_handle module_;
};

TEST(ClientLoader, BindsEveryFunctionInTheOrderOfTheTable) {
  const Preloaded library(L"zvnc");
  ASSERT_NE(library.module(), nullptr);

  cirrel_client* const client = load_cirrel_client();

  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->module, library.module());
  const auto* const entries = reinterpret_cast<void* const*>(client);
  ASSERT_EQ(symbols.size(), 36U);
  for (std::size_t i = 0; i < symbols.size(); ++i) {
    std::uint32_t error = 0;
    EXPECT_EQ(entries[i + 1], platform::find_symbol(library.module(), symbols[i], error))
        << symbols[i];
  }
  unload_cirrel_client(client);
}

TEST(ClientLoader, GivesNullWithoutALibraryAndLogsNothing) {
  const support::RecordingLog log;
  ASSERT_FALSE(FakeCloudClient::library_is_loaded());

  EXPECT_EQ(load_cirrel_client(), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST(ClientLoader, BuildsANewRecordWithItsOwnCountEachTime) {
  FakeCloudClient fake;
  fake.load_library();
  cirrel_client* const first = load_cirrel_client();
  cirrel_client* const second = load_cirrel_client();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);

  fake.release_library();
  unload_cirrel_client(first);
  EXPECT_TRUE(FakeCloudClient::library_is_loaded());
  unload_cirrel_client(second);
  EXPECT_FALSE(FakeCloudClient::library_is_loaded());
}

class IncompleteClientLibrary : public testing::TestWithParam<const char*> {};

TEST_P(IncompleteClientLibrary, IsRefusedAndLetGo) {
  const std::string function = GetParam();
  const support::RecordingLog log;
  {
    const Preloaded library(L"zvnc_without/" + std::wstring(function.begin(), function.end()) +
                            L"/zvnc");
    ASSERT_NE(library.module(), nullptr);
    std::uint32_t error = 0;
    ASSERT_EQ(platform::find_symbol(library.module(), GetParam(), error), nullptr);

    EXPECT_EQ(load_cirrel_client(), nullptr);
  }
  EXPECT_FALSE(FakeCloudClient::library_is_loaded()) << "a count of the library was kept";
  EXPECT_TRUE(log.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Without, IncompleteClientLibrary, testing::ValuesIn(symbols),
                         [](const auto& symbol) { return symbol.param; });

// The others are refused for what they lack, not for what they are.
TEST(ClientLoader, AcceptsTheSameLibraryWithNothingLeftOut) {
  const Preloaded library(L"zvnc_without/nothing/zvnc");
  ASSERT_NE(library.module(), nullptr);

  cirrel_client* const client = load_cirrel_client();

  ASSERT_NE(client, nullptr);
  unload_cirrel_client(client);
}

class ClientInstance : public testing::Test {
 protected:
  ClientInstance() { fake.load_library(); }

  support::RecordingLog log;
  FakeCloudClient fake;
  cirrel_client* client = nullptr;
  void* instance = nullptr;
};

TEST_F(ClientInstance, IsInitialisedAndThenSetToTheCloud) {
  create_client_instance(client, instance);

  ASSERT_NE(client, nullptr);
  EXPECT_NE(instance, nullptr);
  EXPECT_EQ(fake.calls(), (Calls{"init #1", "set_option #1 1 1"}));

  destroy_client_instance(client, instance);
  EXPECT_EQ(fake.calls(), (Calls{"init #1", "set_option #1 1 1", "uninit #1"}));
  fake.release_library();
  EXPECT_FALSE(FakeCloudClient::library_is_loaded());
}

TEST_F(ClientInstance, StandsEvenIfTheCloudOptionIsRefused) {
  fake.fail_option(1, 77);

  create_client_instance(client, instance);

  EXPECT_NE(client, nullptr);
  EXPECT_NE(instance, nullptr);
  EXPECT_TRUE(log.lines().empty());
  destroy_client_instance(client, instance);
}

TEST_F(ClientInstance, ThatCannotBeInitialisedLeavesNothingBehind) {
  fake.fail_init(20011);

  create_client_instance(client, instance);

  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(fake.calls(), Calls{"init failed"});
  EXPECT_TRUE(log.lines().empty());
  fake.release_library();
  EXPECT_FALSE(FakeCloudClient::library_is_loaded()) << "a count of the library was kept";
}

TEST_F(ClientInstance, WithoutALibraryIsNone) {
  fake.release_library();

  create_client_instance(client, instance);

  EXPECT_EQ(client, nullptr);
  EXPECT_TRUE(fake.calls().empty());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
