#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include "_base/expected.h"
#include "_base/win_error.h"

namespace {

using Expected = stdext::expected<std::string, std::error_code>;

static_assert(std::is_base_of_v<std::exception, stdext::bad_expected_access>);

const std::error_code bad_db = winapi::make_error_code(1006);

template <class Read>
void expect_bad_access(Read read) {
  try {
    read();
    ADD_FAILURE() << "the side that isn't held was read";
  } catch (const stdext::bad_expected_access& error) {
    EXPECT_STREQ(error.what(), "bad expected access");
  }
}

TEST(Expected, HoldsAValue) {
  Expected held(std::string("value"));
  EXPECT_TRUE(held.has_value());
  EXPECT_FALSE(held.has_error());
  EXPECT_FALSE(held.valueless());
  EXPECT_TRUE(static_cast<bool>(held));
  EXPECT_EQ(held.value(), "value");
  EXPECT_EQ(std::as_const(held).value(), "value");
  held.value() += "!";
  EXPECT_EQ(std::move(held).value(), "value!");
}

TEST(Expected, HoldsAnError) {
  Expected held(stdext::unexpected{bad_db});
  EXPECT_FALSE(held.has_value());
  EXPECT_TRUE(held.has_error());
  EXPECT_FALSE(held.valueless());
  EXPECT_FALSE(static_cast<bool>(held));
  EXPECT_EQ(held.error(), bad_db);
  EXPECT_EQ(std::as_const(held).error(), bad_db);
}

TEST(Expected, HoldsAMoveOnlyValue) {
  stdext::expected<std::unique_ptr<int>, std::error_code> held(std::make_unique<int>(5));
  const std::unique_ptr<int> taken = std::move(held).value();
  EXPECT_EQ(*taken, 5);
}

TEST(Expected, ThrowsWhenTheSideThatIsNotHeldIsRead) {
  Expected value(std::string("value"));
  expect_bad_access([&] { value.error(); });
  expect_bad_access([&] { std::as_const(value).error(); });
  Expected error(stdext::unexpected{bad_db});
  expect_bad_access([&] { error.value(); });
  expect_bad_access([&] { std::as_const(error).value(); });
  expect_bad_access([&] { std::string taken = std::move(error).value(); });
}

TEST(Expected, TellsAValueFromAnErrorOfTheSameType) {
  stdext::expected<int, int> value(1);
  stdext::expected<int, int> error(stdext::unexpected{2});
  EXPECT_EQ(value.value(), 1);
  EXPECT_EQ(error.error(), 2);
  expect_bad_access([&] { value.error(); });
  expect_bad_access([&] { error.value(); });
}

TEST(Expected, HoldsNeitherAfterAnAssignmentThatThrew) {
  struct Fragile {
    bool breaks = false;
    Fragile() = default;
    Fragile(const Fragile&) = default;
    Fragile(Fragile&& other) noexcept(false) : breaks(other.breaks) {
      if (breaks) throw std::runtime_error("broken on the way");
    }
    Fragile& operator=(const Fragile&) = default;
    Fragile& operator=(Fragile&&) = default;
  };
  stdext::expected<Fragile, std::error_code> source{Fragile()};
  stdext::expected<Fragile, std::error_code> held(stdext::unexpected{bad_db});
  source.value().breaks = true;

  EXPECT_THROW(held = std::move(source), std::runtime_error);

  EXPECT_TRUE(held.valueless());
  EXPECT_FALSE(held.has_value());
  EXPECT_FALSE(held.has_error());
  expect_bad_access([&] { held.value(); });
  expect_bad_access([&] { held.error(); });
}

}  // namespace
