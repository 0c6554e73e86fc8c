// What becomes of a proxy whose texts the system can't convert. No text makes it fail at will, so
// this program stands between the module and the system (it is linked with --wrap).

#include <gtest/gtest.h>

#include <cwchar>
#include <stdexcept>
#include <string>
#include <system_error>

#include "support/ProxySupportTest.h"

namespace {

constexpr const wchar_t* bad_text = L"not to be converted";

enum class Step { none, size, text };
Step failing_step = Step::none;

}  // namespace

extern "C" {
std::uint32_t __real__ZN8platform12wide_to_utf8EPKwPcjRj(const wchar_t* text, char* buffer,
                                                         std::uint32_t size,
                                                         std::uint32_t& error) noexcept;

std::uint32_t __wrap__ZN8platform12wide_to_utf8EPKwPcjRj(const wchar_t* text, char* buffer,
                                                         std::uint32_t size,
                                                         std::uint32_t& error) noexcept {
  const Step step = buffer == nullptr ? Step::size : Step::text;
  if (step == failing_step && text != nullptr && std::wcscmp(text, bad_text) == 0) {
    error = 1113;
    return 0;
  }
  return __real__ZN8platform12wide_to_utf8EPKwPcjRj(text, buffer, size, error);
}
}

namespace {

struct Field {
  const char* name;
  const wchar_t* host;
  const wchar_t* user;
  const wchar_t* password;
};

void PrintTo(const Field& field, std::ostream* out) {
  *out << field.name;
}

class ProxyText : public support::ProxySupportTest, public testing::WithParamInterface<Field> {
 protected:
  ProxyText() {
    make_process_of(support::app_client);
    failing_step = Step::none;
  }

  void set_bad_proxy() {
    probe->set_proxy(GetParam().host, 1, GetParam().user, GetParam().password);
  }

  void expect_failure(Step step, const std::string& text) {
    failing_step = step;
    try {
      probe->report_change();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), 1113);
      EXPECT_STREQ(error.code().category().name(), "win_error");
      EXPECT_EQ(std::string(error.what()).rfind(text, 0), 0U) << error.what();
    }
  }
};

INSTANTIATE_TEST_SUITE_P(, ProxyText,
                         testing::Values(Field{"Host", bad_text, L"user", L"secret"},
                                         Field{"User", L"proxy", bad_text, L"secret"},
                                         Field{"Password", L"proxy", L"user", bad_text}),
                         [](const auto& field) { return field.param.name; });

TEST_P(ProxyText, ThatCannotBeSizedThrowsToTheClientAndChangesNothing) {
  init();
  set_bad_proxy();
  forget();
  expect_failure(Step::size, "WideCharToMultiByte for size failed");
  EXPECT_TRUE(proxies().empty());
  EXPECT_TRUE(log.traced(change));
}

TEST_P(ProxyText, ThatCannotBeConvertedThrowsToTheClientAndChangesNothing) {
  init();
  set_bad_proxy();
  forget();
  expect_failure(Step::text, "WideCharToMultiByte failed");
  EXPECT_TRUE(proxies().empty());
}

TEST_P(ProxyText, ThatCannotBeConvertedAtTheStartThrowsFromItAndCanBeEnded) {
  set_bad_proxy();
  failing_step = Step::text;
  EXPECT_THROW(init(), std::system_error);
  EXPECT_EQ(connect().error_type, 0U) << "the chain stands";
  failing_step = Step::none;
  probe->forget_calls();

  EXPECT_EQ(plugin->UnInit(), 0U);
  EXPECT_EQ(probe->calls().at(0), L"remove_observer");
  EXPECT_EQ(init(), 0U);
  EXPECT_EQ(proxies().size(), 2U) << "the count was back at 0";
}

}  // namespace
