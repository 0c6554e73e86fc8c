#include <map>
#include <optional>
#include <thread>

#include "devkit/cloud/Proxy.h"
#include "devkit/cloud/RudeServer.h"
#include "system/kit_client.h"

namespace kit_test {

namespace {

using devkit::Cloud;
using devkit::Fault;
using devkit::Proxy;
using devkit::RudeServer;

std::string local(std::uint16_t port) {
  return "127.0.0.1:" + std::to_string(port);
}

TEST(Client, BringsTheServersAnswer) {
  Cloud cloud({});
  Client client(cloud.address());
  const auto answer = client.ask("connect/echo", R"({"id":3,"method":"m","params":{"a":1}})");
  EXPECT_EQ(answer.status, status::ok);
  EXPECT_EQ(nlohmann::json::parse(answer.text),
            nlohmann::json::parse(
                R"({"jsonrpc":"2.0","id":3,"result":{"method":"m","params":{"a":1}}})"));
}

TEST(Client, SendsTheBodyByteForByte) {
  Cloud cloud({});
  Client client(cloud.address());
  std::string body;
  for (int i = 0; i < 100000; ++i) body += static_cast<char>(i * 7);
  EXPECT_EQ(client.ask("technology/echo", body).text, body);
}

TEST(Client, ReachesServicesWithAnyName) {
  Cloud cloud({});
  Client client(cloud.address());
  const std::vector<std::string> names = {"", "..", "a b/c?d=e&f#g", "\xC3\xA4%41"};
  for (const std::string& name : names) client.ask(name);
  const nlohmann::json seen = cloud.requests();
  ASSERT_EQ(seen.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(seen[i]["service"], names[i]);
}

TEST(Client, TellsARefusedConnection) {
  Client client(dead_address());
  EXPECT_EQ(client.ask("time").status, status::could_not_connect);
}

TEST(Client, TellsAnUnknownName) {
  Client client("http://nowhere.invalid:80");
  EXPECT_EQ(client.ask("time").status, status::could_not_resolve);
}

TEST(Client, TellsAServerTextThatIsNoAddress) {
  Client client("http://a b");
  EXPECT_EQ(client.ask("time").status, status::bad_server);
}

TEST(Client, TellsAConnectionThatEndsBeforeAnyAnswer) {
  RudeServer server;
  Client client(server.address());
  EXPECT_EQ(client.ask("time").status, status::closed_unanswered);
}

TEST(Client, TellsAConnectionThatEndsInsideTheAnswer) {
  Cloud cloud({});
  Client client(cloud.address());
  cloud.faults().add(fault("close"));
  EXPECT_EQ(client.ask("time").status, status::closed_midway);
}

TEST(Client, GivesUpOnAStallWhenItsTimeIsOver) {
  Cloud cloud({});
  Client client(cloud.address());
  cloud.faults().add(fault("stall"));
  EXPECT_EQ(client.ask("time", "{}", 200).status, status::timed_out);
}

TEST(Client, TellsHttpFailuresApart) {
  Cloud cloud({});
  Client client(cloud.address());
  const std::map<int, std::uint32_t> expected = {
      {400, status::refused},      {404, status::refused},     {413, status::too_large},
      {500, status::server_error}, {502, status::bad_gateway}, {503, status::unavailable},
      {504, status::bad_gateway},  {599, status::server_error}};
  for (const auto& [http, number] : expected) {
    Fault failure = fault("http");
    failure.status = http;
    failure.count = 1;
    cloud.faults().add(failure);
    EXPECT_EQ(client.ask("time").status, number) << http;
  }
}

TEST(Client, PassesRubbishThrough) {
  Cloud cloud({});
  Client client(cloud.address());
  for (const char* const what :
       {"not json", "cut", "huge", "not utf-8", "deep", "empty", "array"}) {
    Fault failure = fault("rubbish");
    failure.what = what;
    failure.count = 1;
    cloud.faults().add(failure);
    const auto answer = client.ask("time");
    EXPECT_EQ(answer.status, status::ok) << what;
    EXPECT_TRUE(answer.text == devkit::rubbish(what)) << what;
  }
}

TEST(Client, RefusesAnAnswerBeyondItsLimit) {
  Cloud cloud({});
  devkit::os::set_environment("SPLICE_ANSWER_LIMIT", "1000");
  Client client(cloud.address());
  devkit::os::set_environment("SPLICE_ANSWER_LIMIT", std::nullopt);
  EXPECT_EQ(client.ask("technology/echo", std::string(1000, 'x')).status, status::ok);
  EXPECT_EQ(client.ask("technology/echo", std::string(1001, 'x')).status, status::answer_too_large);
}

TEST(Client, GoesThroughItsProxyUntilThatIsCleared) {
  Cloud cloud({});
  Proxy proxy;
  Client client(cloud.address());
  ASSERT_EQ(client.set(ZVCIRREL_OPT_PROXY, local(proxy.port()).c_str(), "", ""), 0u);
  EXPECT_EQ(client.ask("time").status, status::ok);
  EXPECT_EQ(proxy.forwarded(), 1u);
  ASSERT_EQ(client.set(ZVCIRREL_OPT_PROXY, "", "", ""), 0u);
  EXPECT_EQ(client.ask("time").status, status::ok);
  EXPECT_EQ(proxy.forwarded(), 1u);
}

TEST(Client, ShowsTheProxyItsUserAndPassword) {
  Cloud cloud({});
  Proxy proxy("user", "secret");
  Client client(cloud.address());
  const std::string address = local(proxy.port());
  client.set(ZVCIRREL_OPT_PROXY, address.c_str(), "", "");
  EXPECT_EQ(client.ask("time").status, status::proxy_refused);
  client.set(ZVCIRREL_OPT_PROXY, address.c_str(), "user", "wrong");
  EXPECT_EQ(client.ask("time").status, status::proxy_refused);
  EXPECT_EQ(proxy.forwarded(), 0u);
  client.set(ZVCIRREL_OPT_PROXY, address.c_str(), "user", "secret");
  EXPECT_EQ(client.ask("time").status, status::ok);
  EXPECT_EQ(proxy.forwarded(), 1u);
}

TEST(Client, TellsAProxyThatIsNotThere) {
  Cloud cloud({});
  const std::string dead = dead_address().substr(std::string("http://").size());
  Client client(cloud.address());
  client.set(ZVCIRREL_OPT_PROXY, dead.c_str(), "", "");
  EXPECT_EQ(client.ask("time").status, status::proxy_unreachable);
  client.set(ZVCIRREL_OPT_PROXY, "nowhere.invalid:80", "", "");
  EXPECT_EQ(client.ask("time").status, status::proxy_not_resolved);
}

TEST(Client, UsesASeparateServerWithAProxyOfItsOwn) {
  Cloud cloud({});
  Cloud separate({});
  Proxy proxy;
  Client client(cloud.address());
  client.set(ZVCIRREL_OPT_PROXY, "nowhere.invalid:80", "", "");
  ASSERT_EQ(client.set(ZVCIRREL_OPT_LOCAL_CLOUD, local(separate.port()).c_str()), 0u);
  EXPECT_EQ(client.ask("time").status, status::ok);
  client.set(ZVCIRREL_OPT_LOCAL_CLOUD_PROXY, local(proxy.port()).c_str(), "", "");
  EXPECT_EQ(client.ask("time").status, status::ok);
  EXPECT_EQ(cloud.requests().size(), 0u);
  EXPECT_EQ(separate.requests().size(), 2u);
  EXPECT_EQ(proxy.forwarded(), 1u);
}

TEST(Client, TakesAnExplicitSchemeForStrongerThanTheSslOption) {
  Cloud separate({});
  Client client(dead_address());
  client.set(ZVCIRREL_OPT_LOCAL_CLOUD, separate.address().c_str());
  client.set(ZVCIRREL_OPT_SSL, 1u);
  EXPECT_EQ(client.ask("time").status, status::ok);
  client.set(ZVCIRREL_OPT_LOCAL_CLOUD, local(separate.port()).c_str());
  EXPECT_EQ(client.ask("time").status, status::tls_failed);
  client.set(ZVCIRREL_OPT_SSL, 0u);
  EXPECT_EQ(client.ask("time").status, status::ok);
}

TEST(Client, SpeaksTlsWithASeparateServerThatItTrusts) {
  const Folder folder;
  const std::filesystem::path certificate = folder.path() / "cloud.pem";
  std::optional<Cloud> separate;
  try {
    separate.emplace(Cloud::Options{0, certificate});
  } catch (const std::runtime_error& reason) {
    GTEST_SKIP() << reason.what();
  }
  {
    Client client(dead_address());
    client.set(ZVCIRREL_OPT_LOCAL_CLOUD, local(separate->port()).c_str());
    client.set(ZVCIRREL_OPT_SSL, 1u);
    EXPECT_EQ(client.ask("time").status, status::not_trusted);
  }
  devkit::os::set_environment("SPLICE_CA", devkit::path_text(certificate));
  Client client(dead_address());
  devkit::os::set_environment("SPLICE_CA", std::nullopt);
  client.set(ZVCIRREL_OPT_LOCAL_CLOUD, local(separate->port()).c_str());
  client.set(ZVCIRREL_OPT_SSL, 1u);
  EXPECT_EQ(client.ask("time").status, status::ok);
}

TEST(Client, AnswersManyThreadsOnOneInstance) {
  Cloud cloud({});
  Client client(cloud.address());
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      for (int j = 0; j < 10; ++j) {
        const std::string body = std::to_string(i * 100 + j);
        if (client.ask("technology/echo", body).text == body) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 80);
}

TEST(Client, EndsARequestInFlightWithItsInstance) {
  Cloud cloud({});
  Client client(cloud.address());
  cloud.faults().add(fault("stall"));
  std::uint32_t result = 0;
  std::thread asking([&] { result = client.ask("time").status; });
  while (cloud.requests().empty()) std::this_thread::yield();
  EXPECT_EQ(client->zvcirrel_uninit(client.instance()), 0u);
  asking.join();
  EXPECT_EQ(result, status::cancelled);
  EXPECT_EQ(client.ask("time").status, status::invalid_argument);
}

TEST(Client, TellsWrongCallsAndWhatItDoesNotOffer) {
  Client client(dead_address());
  cirrel_response* response = nullptr;
  EXPECT_EQ(client->zvcirrel_ask(client.instance(), nullptr, &response), status::invalid_argument);
  EXPECT_EQ(client->zvcirrel_ask(nullptr, nullptr, nullptr), status::invalid_argument);
  EXPECT_EQ(client.set(999), status::unknown_option);
  EXPECT_EQ(client->zvcirrel_free_response(nullptr), status::ok);
  const auto unoffered =
      reinterpret_cast<std::uint32_t (*)(void*, int)>(client->zvcirrel_ask_async);
  EXPECT_EQ(unoffered(nullptr, 1), status::not_offered);
}

struct Report {
  std::uint32_t state;
  std::uint32_t value;
  bool flag;
};

std::uint32_t keep_report(const cirrel_upload_status* status, void* context) {
  static_cast<std::vector<Report>*>(context)->push_back(
      {status->state, status->value, status->detail != 0});
  return 0;
}

std::uint32_t refuse(const cirrel_upload_status*, void*) {
  return 1;
}

TEST(Client, UploadsAFileWithProgressThatOnlyRises) {
  Cloud cloud({});
  Client client(cloud.address());
  const Folder folder;
  const std::string path = devkit::path_text(folder.write("file.bin", std::string(2000000, 'z')));
  client.set(ZVCIRREL_OPT_UPLOAD_A, 1u);
  client.set(ZVCIRREL_OPT_UPLOAD_B, 0u);
  client.set(ZVCIRREL_OPT_UPLOAD_TIMEOUT, 20000u);
  const cirrel_upload_request request = {"files/in", path.c_str(), "sig\n\xC3\xA4", nullptr};
  std::vector<Report> reports;
  ASSERT_EQ(client->zvcirrel_file_upload(client.instance(), &request, keep_report, &reports), 0u);

  ASSERT_GE(reports.size(), 4u);
  for (std::size_t i = 1; i < reports.size(); ++i) {
    EXPECT_GE(reports[i].state, reports[i - 1].state);
    EXPECT_GE(reports[i].value, reports[i - 1].value);
  }
  EXPECT_EQ(reports.front().state, 0u);
  EXPECT_EQ(reports.back().state, 4u);
  EXPECT_EQ(reports.back().value, 100u);
  EXPECT_TRUE(reports.back().flag);

  const nlohmann::json seen = cloud.requests().at(0);
  EXPECT_EQ(seen["service"], "files/in");
  EXPECT_EQ(seen["bytes"], 2000000);
  EXPECT_EQ(seen["headers"]["X-Splice-Option-14"], "1");
  EXPECT_EQ(seen["headers"]["X-Splice-Option-20"], "0");
  EXPECT_EQ(seen["headers"]["X-Splice-Signature"], "sig\n\xC3\xA4");
  EXPECT_FALSE(seen["headers"].contains("X-Splice-Meta"));
}

TEST(Client, TellsUploadsThatFail) {
  Cloud cloud({});
  Client client(cloud.address());
  const Folder folder;
  const std::string path = devkit::path_text(folder.write("file.bin", "content"));
  const cirrel_upload_request request = {"files", path.c_str(), nullptr, nullptr};
  const cirrel_upload_request missing = {"files", "/no/such/file", nullptr, nullptr};
  EXPECT_EQ(client->zvcirrel_file_upload(client.instance(), &missing, nullptr, nullptr),
            status::no_such_file);
  EXPECT_EQ(client->zvcirrel_file_upload(client.instance(), &request, refuse, nullptr),
            status::cancelled);
  client.set(ZVCIRREL_OPT_UPLOAD_TIMEOUT, 200u);
  Fault stall = fault("stall");
  stall.count = 1;
  cloud.faults().add(stall);
  EXPECT_EQ(client->zvcirrel_file_upload(client.instance(), &request, nullptr, nullptr),
            status::timed_out);
  client.set(ZVCIRREL_OPT_UPLOAD_TIMEOUT, 20000u);
  Fault broken = fault("http");
  broken.count = 1;
  cloud.faults().add(broken);
  EXPECT_EQ(client->zvcirrel_file_upload(client.instance(), &request, nullptr, nullptr),
            status::server_error);
}

}  // namespace

}  // namespace kit_test
