#include "_base/waiting.h"
#include "devkit/cloud/CloudAdmin.h"
#include "system/kit_client.h"

namespace kit_test {

namespace {

using nlohmann::json;

/// A cloud whose faults are switched from outside.
class KitFaults : public testing::Test {
 protected:
  void fail(const char* service, const char* method, int code) {
    admin_.add_fault({{"kind", "error"}, {"service", service}, {"method", method}, {"code", code}});
  }
  /// The number of the server's error, 0 if there is none.
  std::int64_t error(const char* service, const char* method) {
    const json call = {{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}};
    const json answer = json::parse(client_.ask(service, call.dump()).text);
    return answer.value("/error/code"_json_pointer, std::int64_t{0});
  }

  devkit::Cloud cloud_{{}};
  const devkit::CloudAdmin admin_{cloud_.address()};
  Client client_{cloud_.address()};
};

TEST_F(KitFaults, ConcernOneMethodOfOneService) {
  fail("time", "now", 32003);
  EXPECT_EQ(error("time", "now"), 32003);
  EXPECT_EQ(error("time", "later"), 0);
  EXPECT_EQ(error("settings", "now"), 0);
}

TEST_F(KitFaults, AreClearedForOneMethodOfOneService) {
  fail("time", "now", 1);
  fail("time", "later", 2);
  fail("settings", "now", 3);
  EXPECT_EQ(admin_.clear_faults({"time", "now"}), 1u);
  EXPECT_EQ(error("time", "now"), 0);
  EXPECT_EQ(error("time", "later"), 2);
  EXPECT_EQ(error("settings", "now"), 3);
}

TEST_F(KitFaults, AreClearedForAWholeServiceOrAMethodEverywhere) {
  fail("time", "now", 1);
  fail("time", "*", 2);
  fail("settings", "now", 3);
  EXPECT_EQ(admin_.clear_faults({"time", std::nullopt}), 2u);
  EXPECT_EQ(admin_.clear_faults({"time", std::nullopt}), 0u);
  EXPECT_EQ(error("settings", "now"), 3);
  EXPECT_EQ(admin_.clear_faults({std::nullopt, "now"}), 1u);
  EXPECT_TRUE(admin_.faults().empty());
}

TEST_F(KitFaults, AreAllClearedWithoutASelection) {
  fail("time", "now", 1);
  fail("*", "*", 2);
  EXPECT_EQ(admin_.clear_faults(), 2u);
  EXPECT_EQ(error("time", "now"), 0);
}

TEST_F(KitFaults, ThatStallEndWhenTheyAreClearedAndNoOthersDo) {
  devkit::FaultTable& table = cloud_.faults();
  for (const char* const service : {"time", "settings"}) {
    devkit::Fault stall = fault("stall");
    stall.service = service;
    stall.milliseconds = 3600 * 1000;
    table.add(stall);
  }
  const devkit::TakenFault time = *table.take("time", "");
  const devkit::TakenFault other = *table.take("settings", "");
  const waiting::Attempt first([&] { table.stall(time); });
  const waiting::Attempt second([&] { table.stall(other); });
  EXPECT_EQ(table.clear({"time", std::nullopt}), 1u);
  EXPECT_TRUE(first.ends());
  EXPECT_FALSE(second.is_done());
  EXPECT_EQ(table.list().size(), 1u);
  table.release();
  EXPECT_TRUE(second.ends());
}

TEST_F(KitFaults, ThatAreClearedBeforeTheirStallBeginsDoNotStall) {
  devkit::FaultTable& table = cloud_.faults();
  devkit::Fault stall = fault("stall");
  stall.milliseconds = 3600 * 1000;
  stall.count = 1;
  table.add(stall);
  const devkit::TakenFault taken = *table.take("time", "");
  table.clear();
  EXPECT_TRUE(waiting::Attempt([&] { table.stall(taken); }).ends());
}

TEST_F(KitFaults, AreRefusedWithANumberThatIsNone) {
  for (const json& wrong : {json(-1), json(4294967296), json(1.5), json("2"), json()}) {
    for (const char* const member : {"count", "milliseconds"}) {
      try {
        devkit::fault_from_json({{"kind", "stall"}, {member, wrong}});
        ADD_FAILURE() << member << " " << wrong;
      } catch (const std::invalid_argument& refusal) {
        EXPECT_NE(std::string(refusal.what()).find(member), std::string::npos) << refusal.what();
      }
    }
  }
  EXPECT_THROW(devkit::fault_from_json(json::array()), std::invalid_argument);
  EXPECT_EQ(devkit::fault_from_json({{"kind", "stall"}, {"count", 4294967295}}).count, 4294967295u);
}

}  // namespace

}  // namespace kit_test
