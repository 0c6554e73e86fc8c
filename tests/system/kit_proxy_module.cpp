#include "_base/waiting.h"
#include "devkit/cloud/Proxy.h"
#include "system/OwnKit.h"
#include "system/ask_echo.h"

namespace kit_test {

namespace {

using nlohmann::json;

json settings(const std::string& host, std::uint32_t port) {
  return {{"enabled", true}, {"type", 1}, {"host", host}, {"port", port}};
}

std::filesystem::path library_name() {
  return devkit::os::library_name("proxy.msgbus.client");
}

/// The module in a service process, which this program is once it lies in a kit's folder. The tests
/// of this fixture run there, started by the test below.
class ServiceProcess : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(folder_ / "services"))
      GTEST_SKIP() << "runs in a kit's folder, where ModuleProxy starts it";
  }

  void write(const json& content) {
    std::ofstream(folder_ / "proxy.json", std::ios::binary) << content.dump();
  }
  /// A request goes this way now, or does so in time.
  bool goes_through(devkit::Host& host, const devkit::Proxy& proxy) {
    return waiting::until([&] {
      const std::uint32_t before = proxy.forwarded();
      return ask_echo(host).is_ok() && proxy.forwarded() > before;
    });
  }
  std::filesystem::path module() const {
    return folder_ / devkit::os::library_name("cloudsplicer");
  }
  std::string channel() const {
    char text[100] = {};
    const devkit::os::Library library(folder_ / library_name());
    library.symbol<void (*)(char*, std::uint32_t)>("SpliceProxyChannel")(text, sizeof text);
    return text;
  }

  const std::filesystem::path folder_ = devkit::os::program().parent_path();
  devkit::Cloud cloud_{{}};
  const Variable address_{"SPLICE_CLOUD", cloud_.address()};
};

TEST_F(ServiceProcess, FollowsTheProxyUnderRunningRequests) {
  const bool is_app =
      std::filesystem::exists(folder_ / "services" / devkit::os::library_name("zvappservice"));
  devkit::Proxy first;
  devkit::Proxy second("me", "secret");
  write(settings("127.0.0.1", first.port()));
  devkit::Host host(module());
  EXPECT_EQ(channel(), is_app ? "cl.zvappsrv.actions" : "cl.zvauxsrv.actions");
  EXPECT_TRUE(ask_echo(host).is_ok());
  EXPECT_GT(first.forwarded(), 0u);

  json with_user = settings("127.0.0.1", second.port());
  with_user["user"] = "me";
  with_user["password"] = "secret";
  write(with_user);
  EXPECT_TRUE(goes_through(host, second));

  with_user["enabled"] = false;
  write(with_user);
  EXPECT_TRUE(waiting::until([&] {
    const std::uint32_t before = second.forwarded();
    return ask_echo(host).is_ok() && second.forwarded() == before;
  }));
}

TEST_F(ServiceProcess, GoesWithoutAProxyWhereTheClientFails) {
  devkit::Proxy proxy;
  json content = settings("127.0.0.1", proxy.port());
  content["fail"] = {{"get_proxy", 5}};
  write(content);
  devkit::Host host(module());
  EXPECT_TRUE(ask_echo(host).is_ok());
  EXPECT_EQ(proxy.forwarded(), 0u);
  content.erase("fail");
  write(content);
  EXPECT_TRUE(goes_through(host, proxy));
}

class ModuleProxy : public testing::TestWithParam<const char*> {};

TEST_P(ModuleProxy, ServesAServiceProcessOfEachKind) {
  const OwnKit kit;
  std::filesystem::rename(kit.path() / "services" / devkit::os::library_name("zvappservice"),
                          kit.path() / "services" / devkit::os::library_name(GetParam()));
  const std::filesystem::path program = kit.path() / devkit::os::program().filename();
  std::filesystem::copy_file(devkit::os::program(), program);
  devkit::os::Process process(program, {"--gtest_filter=ServiceProcess.*"});
  const std::string output = process.read_all();
  EXPECT_EQ(process.wait(), 0) << output;
  EXPECT_EQ(output.find("SKIPPED"), std::string::npos) << output;
  EXPECT_NE(output.find("[  PASSED  ] 2 tests."), std::string::npos) << output;
}

INSTANTIATE_TEST_SUITE_P(OfTheProduct, ModuleProxy,
                         testing::Values("zvappservice", "zvauxiliaryservice"));

}  // namespace

}  // namespace kit_test
