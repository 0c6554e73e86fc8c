#include <cstdint>
#include <string>

#include "push/comm/BusTest.h"
#include "push/comm/parsers.h"
#include "push/comm/serializers.h"

namespace {

using cloud::push_command_done;
using cloud::push_register;
using cloud::push_unregister;
using cloud::push::command_info;
using cloud::push::event_info;
using support::BusFields;

const BusFields addresses = {{"source_app_id", "app"},
                             {"source_device_id", "device"},
                             {"source_token", "token"},
                             {"dest_app_id", "other app"},
                             {"dest_device_id", "other device"}};

BusFields push(const std::string& method, const BusFields& more = {}) {
  BusFields fields = {{"module", "push"}, {"method", method}};
  fields.insert(fields.end(), more.begin(), more.end());
  return fields;
}

class Parsers : public BusTest {
 protected:
  template <class Record>
  bool parses(const Fields& fields, Record& record) {
    return cloud::comm::parse(*make(fields), record);
  }
  bool parses(const Fields& fields) {
    event_info event;
    return parses(fields, event);
  }
  bool is_server_up(const Fields& fields) { return cloud::comm::is_push_server_up(*make(fields)); }

  template <class Action>
  static void expect_addresses(const Action& request) {
    EXPECT_STREQ(request.source.app_id.c_str(), "app");
    EXPECT_STREQ(request.source.device_id.c_str(), "device");
    EXPECT_STREQ(request.source.user_token.c_str(), "token");
    EXPECT_STREQ(request.dest.app_id.c_str(), "other app");
    EXPECT_STREQ(request.dest.device_id.c_str(), "other device");
  }
};

TEST_F(Parsers, ReadAnEvent) {
  event_info event;
  ASSERT_TRUE(parses(push("on_push_event", {{"name", "a name"},
                                            {"timestamp", INT64_MAX},
                                            {"destination_app_id", "an app"},
                                            {"destination_device_id", "a device"},
                                            {"params", "{}"}}),
                     event));
  EXPECT_STREQ(event.name.c_str(), "a name");
  EXPECT_EQ(event.timestamp, INT64_MAX);
  EXPECT_STREQ(event.destination_app_id.c_str(), "an app");
  EXPECT_STREQ(event.destination_device_id.c_str(), "a device");
  EXPECT_STREQ(event.params.c_str(), "{}");
}

TEST_F(Parsers, ReadACommand) {
  command_info command;
  ASSERT_TRUE(parses(push("on_push_command", {{"name", "a name"},
                                              {"timestamp", INT64_MIN},
                                              {"id", "an id"},
                                              {"params", "{}"},
                                              {"destination_app_id", "an app"}}),
                     command));
  EXPECT_STREQ(command.name.c_str(), "a name");
  EXPECT_EQ(command.timestamp, INT64_MIN);
  EXPECT_STREQ(command.id.c_str(), "an id");
  EXPECT_STREQ(command.params.c_str(), "{}");
  EXPECT_STREQ(command.destination_app_id.c_str(), "an app");
}

TEST_F(Parsers, ReadARegistration) {
  BusFields fields = push("push_register", addresses);
  fields.emplace_back("topic", 1);
  push_register request;
  ASSERT_TRUE(parses(fields, request));
  expect_addresses(request);
  EXPECT_EQ(request.topic, 1);
  EXPECT_STREQ(request.module, "push");
}

TEST_F(Parsers, ReadAnUnregistration) {
  BusFields fields = push("push_unregister", addresses);
  fields.emplace_back("topic", -3);
  push_unregister request;
  ASSERT_TRUE(parses(fields, request));
  expect_addresses(request);
  EXPECT_EQ(request.topic, -3);
}

TEST_F(Parsers, ReadACompletion) {
  BusFields fields = push("push_command_done", addresses);
  fields.emplace_back("id", "an id");
  fields.emplace_back("status", "it is done");
  push_command_done request;
  ASSERT_TRUE(parses(fields, request));
  expect_addresses(request);
  EXPECT_EQ(request.id, "an id");
  EXPECT_EQ(request.status, "it is done");
}

TEST_F(Parsers, ReadThatTheServerIsUp) {
  EXPECT_TRUE(is_server_up(push("on_push_server_up")));
  EXPECT_FALSE(is_server_up(push("on_push_server_down")));
  EXPECT_FALSE(is_server_up({{"module", "pull"}, {"method", "on_push_server_up"}}));
}

TEST_F(Parsers, ReadAbsentTextsAsEmptyOnes) {
  event_info event{"name", "params", "app", "device", 1};
  ASSERT_TRUE(parses(push("on_push_event"), event));
  EXPECT_TRUE(event.name.IsEmpty());
  EXPECT_TRUE(event.params.IsEmpty());
  EXPECT_TRUE(event.destination_app_id.IsEmpty());
  EXPECT_TRUE(event.destination_device_id.IsEmpty());
  EXPECT_EQ(event.timestamp, 0);

  push_command_done done{{"app", "device", "token"}, {"device", "app"}, "id", "status"};
  ASSERT_TRUE(parses(push("push_command_done"), done));
  EXPECT_TRUE(done.source.app_id.IsEmpty());
  EXPECT_TRUE(done.dest.app_id.IsEmpty());
  EXPECT_EQ(done.id, "");
  EXPECT_EQ(done.status, "");
}

TEST_F(Parsers, ReadAMissingTopicAsWhateverTheBusGives) {
  push_register request;
  bus.set_absent_number(77);
  ASSERT_TRUE(parses(push("push_register"), request));
  EXPECT_EQ(request.topic, 77);
}

TEST_F(Parsers, TakeTheLowHalfOfATopic) {
  push_register request;
  ASSERT_TRUE(parses(push("push_register", {{"topic", 0x1'0000'0001}}), request));
  EXPECT_EQ(request.topic, 1);
}

TEST_F(Parsers, CompareTheWholeModule) {
  for (const char* const module : {"", "p", "pus", "pushy", "push ", "PUSH", "connect_requests"}) {
    EXPECT_FALSE(parses({{"module", module}, {"method", "on_push_event"}})) << module;
  }
}

TEST_F(Parsers, CompareTheWholeMethod) {
  for (const char* const method : {"", "on_push_even", "on_push_events", "on_push", "ON_PUSH_EVENT",
                                   "on_push_command", "an_unknown_one"}) {
    EXPECT_FALSE(parses(push(method))) << method;
  }
}

TEST_F(Parsers, WantBothModuleAndMethod) {
  EXPECT_FALSE(parses({}));
  EXPECT_FALSE(parses({{"module", "push"}}));
  EXPECT_FALSE(parses({{"method", "on_push_event"}}));
}

TEST_F(Parsers, TakeNumbersForNoNames) {
  EXPECT_FALSE(parses({{"module", 1}, {"method", "on_push_event"}}));
  EXPECT_FALSE(parses({{"module", "push"}, {"method", 1}}));
}

TEST_F(Parsers, TakeOnlyTheirOwnKind) {
  event_info event;
  command_info command;
  push_register registration;
  push_unregister unregistration;
  push_command_done done;
  for (const char* const method : {"on_push_event", "on_push_command", "on_push_server_up",
                                   "push_register", "push_unregister", "push_command_done"}) {
    const BusFields fields = push(method);
    const std::string name = method;
    EXPECT_EQ(parses(fields, event), name == "on_push_event") << method;
    EXPECT_EQ(parses(fields, command), name == "on_push_command") << method;
    EXPECT_EQ(is_server_up(fields), name == "on_push_server_up") << method;
    EXPECT_EQ(parses(fields, registration), name == "push_register") << method;
    EXPECT_EQ(parses(fields, unregistration), name == "push_unregister") << method;
    EXPECT_EQ(parses(fields, done), name == "push_command_done") << method;
  }
}

TEST_F(Parsers, LeaveTheRecordAloneIfTheMessageIsOfAnotherKind) {
  event_info event{"name", "params", "app", "device", 1};
  EXPECT_FALSE(parses(push("on_push_command", {{"name", "another"}, {"timestamp", 2}}), event));
  EXPECT_STREQ(event.name.c_str(), "name");
  EXPECT_EQ(event.timestamp, 1);
}

TEST_F(Parsers, DropWhatIsNotTheirsInSilence) {
  parses({{"module", "pushy"}, {"method", "on_push_event"}});
  parses(push("unknown"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Parsers, ReadWhatTheSerializersWrite) {
  const command_info command{"an app", "a name", "an id", "{\"\xe2\x82\xac\":[1,2]}", -1};
  const Fields fields = writes([&](IBusMessage& message) { cloud::comm::write(message, command); });
  command_info read;
  ASSERT_TRUE(parses(fields, read));
  EXPECT_STREQ(read.destination_app_id.c_str(), "an app");
  EXPECT_STREQ(read.name.c_str(), "a name");
  EXPECT_STREQ(read.id.c_str(), "an id");
  EXPECT_STREQ(read.params.c_str(), "{\"\xe2\x82\xac\":[1,2]}");
  EXPECT_EQ(read.timestamp, -1);
}

TEST_F(Parsers, GetATextOrAnEmptyOne) {
  const auto message = make({{"text", "here"}, {"number", 5}});
  EXPECT_STREQ(cloud::comm::get_text(*message, "text").c_str(), "here");
  EXPECT_TRUE(cloud::comm::get_text(*message, "number").IsEmpty());
  EXPECT_TRUE(cloud::comm::get_text(*message, "absent").IsEmpty());
}

}  // namespace
