#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "_base/Event.h"
#include "_base/win_error.h"
#include "platform/event.h"
#include "platform/library.h"

namespace {

TEST(Event, IsCreatedUnsignalled) {
  const Event event;
  EXPECT_NE(event.handle(), nullptr);
  EXPECT_FALSE(platform::wait_event(event.handle(), 0));
}

TEST(Event, IsResetByTheWaitItEnds) {
  Event event;
  event.Set();
  EXPECT_TRUE(platform::wait_event(event.handle(), 0));
  EXPECT_FALSE(platform::wait_event(event.handle(), 0));
  event.Set();
  event.Set();
  EXPECT_TRUE(platform::wait_event(event.handle(), 0));
  EXPECT_FALSE(platform::wait_event(event.handle(), 0)) << "it doesn't count";
}

TEST(Event, SaysThatItCouldNotBeSet) {
  if (platform::path_separator != L'\\') {
    GTEST_SKIP() << "only Windows reports the use of a handle that was closed";
  }
  Event event;
  platform::close_event(event.handle());
  try {
    event.Set();
    ADD_FAILURE() << "a closed handle was signalled";
  } catch (const std::system_error& error) {
    EXPECT_EQ(std::string(error.what()).rfind("SetEvent failed", 0), 0u) << error.what();
    EXPECT_EQ(error.code(), winapi::make_error_code(6));
  }
}

}  // namespace
