#include <fstream>
#include <optional>

#include "devkit/cloud/CloudAdmin.h"
#include "system/push_cloud_listener.h"

namespace kit_test {

namespace {

using devkit::Cloud;
using devkit::CloudAdmin;
using nlohmann::json;

/// The service for commands as the module calls it.
class Caller {
 public:
  Caller(Client& client, std::string app_id, std::string device_id)
      : client_(client), app_id_(std::move(app_id)), device_id_(std::move(device_id)) {}

  json call(const std::string& method, json params = json::object()) {
    params["connect_source"] = {
        {"app_id", app_id_}, {"user_token", "token"}, {"device_id", device_id_}};
    const json envelope = {{"jsonrpc", "2.0"}, {"id", 7}, {"method", method}, {"params", params}};
    return json::parse(client_.ask("connect/commands", envelope.dump()).text);
  }
  json list() { return call("list").at("result"); }
  json complete(const std::string& id, const std::string& status) {
    return call("complete", {{"command_id", id}, {"command_status", status}});
  }

 private:
  Client& client_;
  const std::string app_id_;
  const std::string device_id_;
};

class PushCommands : public testing::Test {
 protected:
  Cloud cloud_{{}};
  const CloudAdmin admin_{cloud_.address()};
  Client client_{cloud_.address()};
};

TEST_F(PushCommands, WaitForTheirApplicationOnTheirDevice) {
  const json answer = admin_.push({{"kind", "command"},
                                   {"app_id", "Mail"},
                                   {"device_id", "device"},
                                   {"name", "scan"},
                                   {"params", {{"deep", true}}},
                                   {"timestamp", 4711}});
  EXPECT_EQ(answer["streams"], 0);
  EXPECT_EQ(Caller(client_, "Mail", "device").list(),
            json::array({{{"command_id", answer["command_id"]},
                          {"command", "scan"},
                          {"command_params", {{"deep", true}}},
                          {"timestamp", 4711}}}));
  EXPECT_EQ(Caller(client_, "News", "device").list(), json::array());
  EXPECT_EQ(Caller(client_, "Mail", "elsewhere").list(), json::array());
}

TEST_F(PushCommands, WithoutADeviceWaitForTheirApplicationOnAny) {
  admin_.push_command({"Mail", ""}, "scan");
  EXPECT_EQ(Caller(client_, "Mail", "device").list().size(), 1u);
  EXPECT_EQ(Caller(client_, "Mail", "elsewhere").list().size(), 1u);
}

TEST_F(PushCommands, AreListedInTheirOrder) {
  for (int i = 0; i < 20; ++i) admin_.push_command({"Mail", "device"}, std::to_string(i));
  const json list = Caller(client_, "Mail", "device").list();
  ASSERT_EQ(list.size(), 20u);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(list[i]["command"], std::to_string(i));
}

TEST_F(PushCommands, ComeOverTheStreamAndStayUntilTheyAreComplete) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  const std::string id = admin_.push_command({"Mail", "device"}, "scan", {{"deep", true}});
  ASSERT_TRUE(listener.hears(1));
  const json fields = listener.fields()[0];
  EXPECT_EQ(fields["event"], "command");
  EXPECT_EQ(fields["event_params"],
            json({{"command", "scan"}, {"command_id", id}, {"command_params", {{"deep", true}}}}));

  Caller caller(client_, "Mail", "device");
  EXPECT_EQ(caller.list().size(), 1u);
  EXPECT_TRUE(caller.complete(id, "done").contains("result"));
  EXPECT_TRUE(caller.list().empty());
}

TEST_F(PushCommands, ShowWhatBecameOfThem) {
  const std::string id = admin_.push_command({"Mail", "device"}, "scan");
  EXPECT_EQ(admin_.commands().at(0)["completions"], 0);
  EXPECT_EQ(admin_.commands().at(0)["status"], "");
  Caller(client_, "Desktop", "other").complete(id, "done");
  Caller(client_, "Mail", "device").complete(id, "too late");
  json row = admin_.commands().at(0);
  EXPECT_TRUE(row["timestamp"].is_number_integer());
  row.erase("timestamp");
  EXPECT_EQ(row, json({{"command_id", id},
                       {"app_id", "Mail"},
                       {"device_id", "device"},
                       {"name", "scan"},
                       {"params", json::object()},
                       {"completions", 2},
                       {"status", "done"},
                       {"by_app_id", "Desktop"},
                       {"by_device_id", "other"}}));
}

TEST_F(PushCommands, ThatAreUnknownCantBeCompleted) {
  Caller caller(client_, "Mail", "device");
  EXPECT_EQ(caller.complete("none", "done")["error"]["code"], 404);
  EXPECT_EQ(caller.call("complete")["error"]["code"], 404);
  EXPECT_EQ(caller.call("forget")["error"]["code"], -32601);
  EXPECT_EQ(json::parse(client_.ask("connect/commands", "rubbish").text)["error"]["code"], -32601);
}

TEST_F(PushCommands, ArePushedAgainWithTheSameIdentifierButKeptOnce) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  for (const char* const name : {"scan", "scan", "other"}) {
    admin_.push(
        {{"kind", "command"}, {"app_id", "Mail"}, {"name", name}, {"command_id", "the same"}});
  }
  EXPECT_TRUE(listener.hears(3));
  ASSERT_EQ(admin_.commands().size(), 1u);
  EXPECT_EQ(admin_.commands()[0]["name"], "scan");
}

TEST_F(PushCommands, WithoutAnIdentifierAreNotKept) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  admin_.push({{"kind", "command"}, {"app_id", "Mail"}, {"name", "scan"}, {"command_id", ""}});
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0]["event_params"]["command_id"], "");
  EXPECT_TRUE(admin_.commands().empty());
}

TEST_F(PushCommands, HaveFaultsLikeEveryService) {
  admin_.push_command({"Mail", "device"}, "scan");
  admin_.add_fault(
      {{"kind", "error"}, {"service", "connect/commands"}, {"method", "list"}, {"count", 1}});
  Caller caller(client_, "Mail", "device");
  EXPECT_EQ(caller.call("list")["error"]["code"], 32003);
  EXPECT_EQ(caller.list().size(), 1u);
}

TEST_F(PushCommands, SurviveTheCloudsRestartInAFile) {
  const Folder folder;
  const std::filesystem::path file = folder.path() / "comm\xC3\xA4nds.sqlite";
  std::string waiting_one;
  {
    Cloud cloud(Cloud::Options{0, {}, file, 500});
    const CloudAdmin admin(cloud.address());
    Client client(cloud.address());
    const std::string done = admin.push_command({"Mail", "device"}, "first");
    waiting_one = admin.push_command({"Mail", "device"}, "second");
    Caller(client, "Mail", "device").complete(done, "done");
  }
  Cloud cloud(Cloud::Options{0, {}, file, 500});
  const CloudAdmin admin(cloud.address());
  Client client(cloud.address());
  const json table = admin.commands();
  ASSERT_EQ(table.size(), 2u);
  EXPECT_EQ(table[0]["status"], "done");
  EXPECT_EQ(table[1]["command_id"], waiting_one);
  EXPECT_EQ(Caller(client, "Mail", "device").list().size(), 1u);
}

TEST_F(PushCommands, NeedAFileThatCanBeOpened) {
  const Folder folder;
  try {
    Cloud cloud(Cloud::Options{0, {}, folder.path(), 500});
    ADD_FAILURE() << "a folder serves as a database";
  } catch (const std::runtime_error& refusal) {
    EXPECT_NE(std::string(refusal.what()).find("can't be opened"), std::string::npos)
        << refusal.what();
  }
}

TEST_F(PushCommands, AndEventsAreRefusedWithASentenceWhenTheyMakeNoSense) {
  PushListener listener;
  Client client(cloud_.address());
  listen(client, listener, "Mail");
  const std::vector<std::pair<json, std::string>> wrong = {
      {json("text"), "a push is a JSON object"},
      {json::object(), "a push's kind is \"event\" or \"command\""},
      {{{"kind", "offer"}}, "a push's kind is \"event\" or \"command\""},
      {{{"kind", "event"}, {"app_id", 7}}, "\"app_id\" of a push is a text, not 7"},
      {{{"kind", "event"}, {"app", "Mail"}}, "a push has no \"app\""},
      {{{"kind", "event"}, {"command_id", "1"}}, "only a command has a \"command_id\""},
      {{{"kind", "event"}, {"timestamp", "now"}},
       "\"timestamp\" of a push is a whole number, not \"now\""}};
  for (const auto& [push, sentence] : wrong) {
    const json right = {{"kind", "command"}, {"app_id", "Mail"}, {"name", "scan"}};
    for (const json& request : {push, json::array({right, push})}) {
      try {
        admin_.push(request);
        ADD_FAILURE() << request;
      } catch (const std::runtime_error& refusal) {
        EXPECT_EQ(std::string(refusal.what()).rfind("the cloud refuses: " + sentence, 0), 0u)
            << refusal.what();
      }
    }
  }
  EXPECT_TRUE(admin_.commands().empty());
  admin_.push_event({"Mail", ""}, "right");
  ASSERT_TRUE(listener.hears(1));
  EXPECT_EQ(listener.fields()[0]["event"], "right");
}

}  // namespace

}  // namespace kit_test
