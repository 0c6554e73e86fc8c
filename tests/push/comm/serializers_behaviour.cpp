#include <cstdint>

#include "push/comm/BusTest.h"
#include "push/comm/serializers.h"
#include "support/ProductInfoFolder.h"

namespace {

using cloud::connect_destination;
using cloud::connect_source;
using cloud::push_command_done;
using cloud::push_register;
using cloud::push_unregister;
using cloud::push::command_info;
using cloud::push::event_info;

const connect_source sender{"app", "device", "token"};
const connect_destination receiver{"other device", "other app"};

class Serializers : public BusTest {
 protected:
  template <class Record>
  Fields written(const Record& record) {
    return writes([&](IBusMessage& message) { cloud::comm::write(message, record); });
  }
};

TEST_F(Serializers, WriteAnEvent) {
  const event_info event{"a name", "{\"a\":1}", "an app", "a device", 1234567890123456789};
  EXPECT_EQ(written(event), (Fields{{"module", "push"},
                                    {"method", "on_push_event"},
                                    {"name", "a name"},
                                    {"timestamp", 1234567890123456789},
                                    {"destination_app_id", "an app"},
                                    {"destination_device_id", "a device"},
                                    {"params", "{\"a\":1}"}}));
}

TEST_F(Serializers, WriteACommandWithoutADevice) {
  const command_info command{"an app", "a name", "an id", "[]", INT64_MIN};
  EXPECT_EQ(written(command), (Fields{{"module", "push"},
                                      {"method", "on_push_command"},
                                      {"name", "a name"},
                                      {"timestamp", INT64_MIN},
                                      {"id", "an id"},
                                      {"params", "[]"},
                                      {"destination_app_id", "an app"}}));
}

TEST_F(Serializers, WriteThatTheServerIsUp) {
  EXPECT_EQ(writes(cloud::comm::write_push_server_up),
            (Fields{{"module", "push"}, {"method", "on_push_server_up"}}));
}

TEST_F(Serializers, WriteARegistration) {
  EXPECT_EQ(written(push_register{sender, 1, receiver}), (Fields{{"module", "push"},
                                                                 {"method", "push_register"},
                                                                 {"source_app_id", "app"},
                                                                 {"source_device_id", "device"},
                                                                 {"source_token", "token"},
                                                                 {"dest_app_id", "other app"},
                                                                 {"dest_device_id", "other device"},
                                                                 {"topic", 1}}));
}

TEST_F(Serializers, WriteAnUnregistration) {
  EXPECT_EQ(written(push_unregister{sender, -1, receiver}),
            (Fields{{"module", "push"},
                    {"method", "push_unregister"},
                    {"source_app_id", "app"},
                    {"source_device_id", "device"},
                    {"source_token", "token"},
                    {"dest_app_id", "other app"},
                    {"dest_device_id", "other device"},
                    {"topic", -1}}));
}

TEST_F(Serializers, WriteACompletionWithoutATopic) {
  EXPECT_EQ(written(push_command_done{sender, receiver, "an id", "it is done"}),
            (Fields{{"module", "push"},
                    {"method", "push_command_done"},
                    {"source_app_id", "app"},
                    {"source_device_id", "device"},
                    {"source_token", "token"},
                    {"dest_app_id", "other app"},
                    {"dest_device_id", "other device"},
                    {"id", "an id"},
                    {"status", "it is done"}}));
}

TEST_F(Serializers, WriteEmptyTextsRatherThanLeaveThemOut) {
  EXPECT_EQ(written(event_info{}), (Fields{{"module", "push"},
                                           {"method", "on_push_event"},
                                           {"name", ""},
                                           {"timestamp", 0},
                                           {"destination_app_id", ""},
                                           {"destination_device_id", ""},
                                           {"params", ""}}));
  EXPECT_EQ(written(push_command_done{}), (Fields{{"module", "push"},
                                                  {"method", "push_command_done"},
                                                  {"source_app_id", ""},
                                                  {"source_device_id", ""},
                                                  {"source_token", ""},
                                                  {"dest_app_id", ""},
                                                  {"dest_device_id", ""},
                                                  {"id", ""},
                                                  {"status", ""}}));
}

TEST_F(Serializers, WriteTheModuleOfTheRecord) {
  push_register request{sender, 0, receiver};
  request.module = "another";
  EXPECT_EQ(written(request).front(), support::BusField("module", "another"));
}

TEST_F(Serializers, PutTheProductInThePlaceOfASenderWithoutAnApplication) {
  support::ProductInfoFolder product;
  product.probe->set_string(44, L"Produ\u00efct");
  const connect_source nameless{"", "device", "token"};
  const support::BusField expected("source_app_id",
                                   "Produ\xc3\xaf"
                                   "ct");
  EXPECT_EQ(written(push_register{nameless, 0, receiver})[2], expected);
  EXPECT_EQ(written(push_unregister{nameless, 0, receiver})[2], expected);
  EXPECT_EQ(written(push_command_done{nameless, receiver, "id", "status"})[2], expected);
}

TEST_F(Serializers, DoNotAskForTheProductIfTheSenderHasAnApplication) {
  support::ProductInfoFolder product;
  written(push_register{sender, 0, receiver});
  EXPECT_TRUE(product.probe->steps().empty());
}

TEST_F(Serializers, WriteAReplyWhoseModuleIsWrittenTwice) {
  EXPECT_EQ(writes([](IBusMessage& message) {
              cloud::comm::write_reply(message, "push", "push_register", -5, sender, receiver);
            }),
            (Fields{{"module", "connect_requests"},
                    {"err", -5},
                    {"module", "push"},
                    {"method", "push_register"},
                    {"source_app_id", "app"},
                    {"source_device_id", "device"},
                    {"source_token", "token"},
                    {"dest_app_id", "other app"},
                    {"dest_device_id", "other device"}}));
}

TEST_F(Serializers, EchoAnEmptyApplicationInAReply) {
  support::ProductInfoFolder product;
  product.probe->set_string(44, L"Product");
  const Fields reply = writes([](IBusMessage& message) {
    cloud::comm::write_reply(message, "push", "push_register", 0, {}, {});
  });
  EXPECT_EQ(reply[4], support::BusField("source_app_id", ""));
  EXPECT_TRUE(product.probe->steps().empty());
}

}  // namespace
