#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/ResolverTest.h"

namespace {

using Calls = std::vector<std::string>;

struct Heard {
  std::uint32_t state;
  std::uint8_t flag;
  std::uint32_t value;
  std::string text;

  bool operator==(const Heard&) const = default;
};

class Listener final : public cloud::upload_observer {
 public:
  void on_progress(const cloud::upload_progress& progress) override {
    heard.push_back(
        {progress.state, progress.flag, progress.value, std::string(progress.text.view())});
  }

  std::vector<Heard> heard;
};

class UploadTest : public support::ResolverTest {
 protected:
  UploadTest() {
    make_resolver(R"({"categories": {}, "services": {"own": "own.example"}})");
    client.forget_calls();
    request.service = "svc";
    request.path = "/some/file";
    request.timeout = 30000;
  }

  cloud::upload_request request;
  Listener listener;
};

TEST_F(UploadTest, SetsItsThreeOptionsAndThenSends) {
  request.option_a = 1;
  EXPECT_EQ(resolver->resolve(request, &listener), 0U);
  EXPECT_EQ(client.calls(), (Calls{"set_option #1 14 1", "set_option #1 20 0",
                                   "set_option #1 16 30000", "file_upload #1 'svc'"}));
}

TEST_F(UploadTest, KeepsTheTwoFlagsApart) {
  request.option_b = 1;
  resolver->resolve(request, &listener);
  EXPECT_EQ(client.count("set_option #1 14 0"), 1U);
  EXPECT_EQ(client.count("set_option #1 20 1"), 1U);
}

TEST_F(UploadTest, IgnoresRefusedOptions) {
  client.fail_option(14, 1);
  client.fail_option(20, 2);
  client.fail_option(16, 3);
  EXPECT_EQ(resolver->resolve(request, &listener), 0U);
  EXPECT_EQ(client.uploads().size(), 1U);
  EXPECT_TRUE(log.nothing_logged(4));
}

TEST_F(UploadTest, WithoutAPathReachesNothing) {
  for (const char* path : {"", static_cast<const char*>(nullptr)}) {
    request.path = path != nullptr ? cloud::text(path) : cloud::text();
    log.clear();
    EXPECT_EQ(resolver->resolve(request, &listener), 31U);
    EXPECT_TRUE(log.texts().empty());
  }
  EXPECT_TRUE(client.calls().empty());
}

TEST_F(UploadTest, OfAServiceWithAnInstanceOfItsOwnUsesIt) {
  request.service = "own";
  resolver->resolve(request, &listener);
  EXPECT_EQ(client.calls(), (Calls{"init #2", "set_option #2 1 1", "set_option #2 28 'own.example'",
                                   "set_option #2 34 1", "set_option #2 14 0", "set_option #2 20 0",
                                   "set_option #2 16 30000", "file_upload #2 'own'"}));
}

TEST_F(UploadTest, HandsItsTextsOn) {
  request.signature = "sig";
  request.meta = "meta";
  resolver->resolve(request, &listener);
  const support::Upload upload = client.uploads().at(0);
  EXPECT_EQ(upload.service, "svc");
  EXPECT_EQ(upload.path, "/some/file");
  EXPECT_EQ(upload.signature, "sig");
  EXPECT_EQ(upload.meta, "meta");
  EXPECT_NE(upload.callback, nullptr);
  EXPECT_EQ(upload.context, static_cast<cloud::upload_observer*>(&listener));
}

TEST_F(UploadTest, HandsAnEmptySignatureAndMetaOnAsNull) {
  request.signature = "";
  resolver->resolve(request, &listener);
  const support::Upload upload = client.uploads().at(0);
  EXPECT_EQ(upload.signature, std::nullopt);
  EXPECT_EQ(upload.meta, std::nullopt);
}

TEST_F(UploadTest, OfANamelessServiceGoesToAnEmptyName) {
  request.service = cloud::text();
  resolver->resolve(request, &listener);
  EXPECT_EQ(client.uploads().at(0).service, "");
}

TEST_F(UploadTest, IsLogged) {
  request.signature = "sig";
  request.meta = "{}";
  resolver->resolve(request, &listener);
  EXPECT_LOGGED(log, 16, L"cloud::CirrelResolver::resolve",
                L"service: svc signature: sig meta: {} path: /some/file");
  EXPECT_TRUE(log.traced(L"cloud::CirrelResolver::resolve"));
}

TEST_F(UploadTest, ReturnsTheLibrarysNumberAsItIs) {
  for (const std::uint32_t number : {20012U, 1U, 0xffffffffU}) {
    client.set_upload_result(number);
    EXPECT_EQ(resolver->resolve(request, &listener), number);
  }
}

TEST_F(UploadTest, ReportsItsProgress) {
  client.set_upload_reports({{0, 10, 0, "begun"}, {4, 4294967295U, 1, "\xc3\xa9"}});
  resolver->resolve(request, &listener);
  EXPECT_EQ(listener.heard,
            (std::vector<Heard>{{0, 0, 10, "begun"}, {4, 1, 4294967295U, "\xc3\xa9"}}));
  EXPECT_EQ(client.report_results(), (std::vector<std::uint32_t>{0, 0}));
  EXPECT_TRUE(log.traced(L"cloud::CirrelResolver::upload_cbk"));
}

TEST_F(UploadTest, ReportsUnknownStatesAsZero) {
  client.set_upload_reports(
      {{1, 0, 0, ""}, {2, 0, 0, ""}, {3, 0, 0, ""}, {5, 0, 0, ""}, {0xffffffffU, 0, 0, ""}});
  resolver->resolve(request, &listener);
  std::vector<std::uint32_t> states;
  for (const Heard& heard : listener.heard) states.push_back(heard.state);
  EXPECT_EQ(states, (std::vector<std::uint32_t>{1, 2, 3, 0, 0}));
}

TEST_F(UploadTest, TakesAnyBitOfTheDetailForTheFlag) {
  client.set_upload_reports({{1, 0, std::uint64_t{1} << 63, ""}, {1, 0, 0x100, ""}});
  resolver->resolve(request, &listener);
  EXPECT_EQ(listener.heard, (std::vector<Heard>{{1, 1, 0, ""}, {1, 1, 0, ""}}));
}

TEST_F(UploadTest, ReportsANullTextAsEmpty) {
  client.set_upload_reports({{1, 2, 0, nullptr}});
  resolver->resolve(request, &listener);
  EXPECT_EQ(listener.heard, (std::vector<Heard>{{1, 0, 2, ""}}));
}

TEST_F(UploadTest, WithoutAnObserverAnswersEachReportWithAFailure) {
  client.set_upload_reports({{1, 2, 0, "t"}});
  EXPECT_EQ(resolver->resolve(request, nullptr), 0U);
  EXPECT_EQ(client.report_results(), (std::vector<std::uint32_t>{31}));
}

TEST_F(UploadTest, AnswersAReportWithoutAStatusWithAFailure) {
  resolver->resolve(request, &listener);
  EXPECT_EQ(client.uploads().at(0).callback(nullptr, client.uploads().at(0).context), 31U);
  EXPECT_TRUE(listener.heard.empty());
}

}  // namespace
