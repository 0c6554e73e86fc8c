#include <iostream>
#include <optional>

#include "devkit/cloud/CloudAdmin.h"
#include "system/push_cloud_listener.h"

namespace kit_test {

namespace {

using nlohmann::json;

class PushCloud : public testing::Test {
 protected:
  devkit::Cloud cloud_{{}};
  const devkit::CloudAdmin admin_{cloud_.address()};
};

TEST_F(PushCloud, BringsAnEventToWhoRegistered) {
  PushListener listener;
  Client client(cloud_.address());
  ASSERT_EQ(listen(client, listener, "Mail"), status::ok);
  EXPECT_EQ(admin_.push({{"kind", "event"},
                         {"app_id", "Mail"},
                         {"device_id", "device"},
                         {"name", "arrived"},
                         {"params", {{"count", 3}}},
                         {"timestamp", 5000000000}}),
            json({{"streams", 1}}));
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0],
            json({{"connect_target", {{"app_id", "Mail"}, {"device_id", "device"}}},
                  {"event", "arrived"},
                  {"event_params", {{"count", 3}}},
                  {"timestamp", 5000000000}}));
}

TEST_F(PushCloud, BringsAPushToEachInstanceThatRegisteredItsTargetAndToNoOther) {
  PushListener first;
  PushListener second;
  PushListener other_app;
  PushListener other_device;
  Client one(cloud_.address());
  Client two(cloud_.address());
  Client three(cloud_.address());
  ASSERT_EQ(listen(one, first, "Mail"), 0u);
  ASSERT_EQ(listen(two, second, "Mail"), 0u);
  ASSERT_EQ(listen(two, other_app, "News"), 0u);
  ASSERT_EQ(listen(three, other_device, "Mail", "elsewhere"), 0u);
  EXPECT_EQ(admin_.push_event({"Mail", "device"}, "one"), 2u);
  EXPECT_EQ(admin_.push_event({"", ""}, "last"), 3u);
  for (PushListener* const listener : {&first, &second, &other_app, &other_device})
    ASSERT_TRUE(listener->hears(1));
  ASSERT_TRUE(first.hears(2) && second.hears(2));
  EXPECT_EQ(first.fields()[0]["event"], "one");
  EXPECT_EQ(second.fields()[0]["event"], "one");
  EXPECT_EQ(other_app.fields()[0]["event"], "last");
  EXPECT_EQ(other_device.fields()[0]["event"], "last");
}

TEST_F(PushCloud, DeliversOnceToWhatIsRegisteredTwice) {
  PushListener listener;
  Client client(cloud_.address());
  for (int i = 0; i < 2; ++i) ASSERT_EQ(listen(client, listener, "Mail"), 0u);
  admin_.push_event({"Mail", "device"}, "one");
  admin_.push_event({"Mail", "device"}, "two");
  ASSERT_TRUE(listener.hears(2));
  EXPECT_EQ(listener.fields()[0]["event"], "one");
  EXPECT_EQ(listener.fields()[1]["event"], "two");
}

TEST_F(PushCloud, DeliversToEachOfSeveralCallbacksOfOneTarget) {
  PushListener one;
  PushListener other;
  Client client(cloud_.address());
  listen(client, one, "Mail");
  listen(client, other, "Mail");
  EXPECT_EQ(admin_.push_event({"Mail", "device"}, "arrived"), 1u);
  EXPECT_TRUE(one.hears(1) && other.hears(1));
}

TEST_F(PushCloud, BringsAPushWithoutAnApplicationToEveryCallbackOfTheDeviceOnce) {
  PushListener listener;
  PushListener elsewhere;
  Client client(cloud_.address());
  Client other(cloud_.address());
  listen(client, listener, "Mail");
  listen(client, listener, "News");
  listen(other, elsewhere, "Mail", "elsewhere");
  EXPECT_EQ(admin_.push_event({"", "device"}, "for all"), 1u);
  EXPECT_EQ(admin_.push_event({"", ""}, "last"), 2u);
  ASSERT_TRUE(listener.hears(2) && elsewhere.hears(1));
  EXPECT_EQ(listener.fields()[0]["event"], "for all");
  EXPECT_FALSE(listener.fields()[0].contains("connect_target"));
  EXPECT_EQ(listener.fields()[1]["event"], "last");
  EXPECT_EQ(elsewhere.fields()[0]["event"], "last");
}

TEST_F(PushCloud, TakesTheNewestRegistrationForAPushWithoutADevice) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail", "old");
  listen(client, listener, "Mail", "new");
  EXPECT_EQ(admin_.push_event({"Mail", ""}, "arrived"), 1u);
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0]["connect_target"]["device_id"], "new");
}

TEST_F(PushCloud, RegistersTheSenderWhereTheDestinationIsEmpty) {
  PushListener listener;
  Client client(cloud_.address());
  const cirrel_push_source source = {"token", "Mail", "device"};
  const cirrel_push_destination nobody = {"", ""};
  const cirrel_push_callbacks callbacks = listener.callbacks();
  ASSERT_EQ(client->connect_register(client.instance(), &source, &nobody, "event", "secure_web",
                                     &callbacks),
            0u);
  EXPECT_EQ(admin_.streams().at(0)["registrations"],
            json::array({{{"app_id", "Mail"}, {"device_id", "device"}}}));
}

TEST_F(PushCloud, KeepsTheOrderOfPushes) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  constexpr int count = 3000;
  json pushes = json::array();
  for (int i = 0; i < count; ++i)
    pushes.push_back({{"kind", "event"}, {"app_id", "Mail"}, {"name", std::to_string(i)}});
  EXPECT_EQ(admin_.push(pushes).size(), 3000u);
  ASSERT_TRUE(listener.hears(count));
  const json fields = listener.fields();
  for (int i = 0; i < count; ++i)
    ASSERT_EQ(fields.at(static_cast<std::size_t>(i)).at("event"), std::to_string(i));
}

TEST_F(PushCloud, LosesNothingToASlowCallback) {
  PushListener listener;
  const waiting::Gate gate;
  listener.then([&] { gate.wait(); });
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  constexpr int count = 5000;
  for (int i = 0; i < count; ++i) cloud_.pushes().push_text({"Mail", ""}, std::to_string(i));
  ASSERT_TRUE(listener.hears(1));
  gate.open();
  ASSERT_TRUE(listener.hears(count));
  const auto texts = listener.texts();
  for (int i = 0; i < count; ++i) ASSERT_EQ(texts[static_cast<std::size_t>(i)], std::to_string(i));
}

TEST_F(PushCloud, SendsTextsAsTheyAre) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  const std::vector<std::string> texts = {"",
                                          "{",
                                          "two\nlines",
                                          std::string("a\0b", 3),
                                          "\xFF\xFE",
                                          "hello\nbeat\npush 3 {}\n",
                                          std::string(3000000, 'x')};
  for (const std::string& text : texts) EXPECT_EQ(admin_.push_text({"Mail", ""}, text), 1u);
  ASSERT_TRUE(listener.hears(texts.size()));
  EXPECT_TRUE(listener.texts() == texts);
}

TEST_F(PushCloud, BringsTextsAboutAnyName) {
  PushListener listener;
  Client client(cloud_.address());
  const std::string name = "a \"b\"\n\xC3\xA4&?%";
  ASSERT_EQ(listen(client, listener, name, name), 0u);
  EXPECT_EQ(admin_.push_event({name, name}, name), 1u);
  EXPECT_EQ(admin_.push_text({name, name}, "text"), 1u);
  ASSERT_TRUE(listener.hears(2));
  EXPECT_EQ(json::parse(listener.texts()[0])["app_fields"]["event"], name);
}

TEST_F(PushCloud, KnowsWhoIsConnected) {
  EXPECT_TRUE(admin_.streams().empty());
  PushListener listener;
  {
    Client client(cloud_.address());
    listen(client, listener, "Mail");
    ASSERT_TRUE(waiting::until([&] { return admin_.streams().at(0).value("connected", false); }));
    const json stream = admin_.streams().at(0);
    EXPECT_EQ(stream["process"], devkit::os::process_id());
    EXPECT_EQ(stream["registrations"],
              json::array({{{"app_id", "Mail"}, {"device_id", "device"}}}));
    EXPECT_EQ(admin_.info()["registrations"], 1);
  }
  EXPECT_TRUE(waiting::until([&] { return admin_.streams().empty(); }));
}

TEST_F(PushCloud, ForgetsAProcessThatWasKilled) {
  if (const auto address = devkit::os::environment("SPLICE_PUSH_PART")) {
    static PushListener listener;
    static Client client(*address);
    if (listen(client, listener, "Mail") != 0 || !listener.hears(1)) std::exit(1);
    std::cout << "\nheard " << listener.fields()[0]["event"].get<std::string>() << std::endl;
    for (;;) listener.hears(2);
  }
  devkit::os::set_environment("SPLICE_PUSH_PART", cloud_.address());
  devkit::os::Process child(devkit::os::program(),
                            {"--gtest_filter=PushCloud.ForgetsAProcessThatWasKilled"});
  devkit::os::set_environment("SPLICE_PUSH_PART", std::nullopt);
  ASSERT_TRUE(waiting::until([&] { return !admin_.streams().empty(); }));

  PushListener listener;
  Client client(cloud_.address());
  ASSERT_EQ(listen(client, listener, "Mail"), 0u);
  EXPECT_EQ(admin_.push_event({"Mail", "device"}, "arrived"), 2u);
  ASSERT_TRUE(listener.hears(1));
  std::optional<std::string> line;
  do {
    line = child.read_line();
  } while (line && *line != "heard arrived");
  ASSERT_TRUE(line);
  child.stop();
  ASSERT_TRUE(waiting::until([&] { return admin_.streams().size() == 1; }));
  EXPECT_EQ(admin_.push_event({"Mail", "device"}, "again"), 1u);
}

TEST_F(PushCloud, RefusesATokenThatItDoesNotKnow) {
  PushListener listener;
  Client client(cloud_.address());
  EXPECT_EQ(listen(client, listener, "Mail", "device", ""), status::refused);
  admin_.accept_tokens({"good"});
  EXPECT_EQ(listen(client, listener, "Mail", "device", "token"), status::refused);
  EXPECT_TRUE(admin_.streams().empty());
  EXPECT_EQ(listen(client, listener, "Mail", "device", "good"), status::ok);
  EXPECT_EQ(admin_.push_event({"Mail", "device"}, "arrived"), 1u);
  EXPECT_TRUE(listener.hears(1));
}

}  // namespace

}  // namespace kit_test
