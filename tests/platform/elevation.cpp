#include "platform/elevation.h"

#include <gtest/gtest.h>

#include "support/TestSeam.h"

namespace {

TEST(Elevation, IsWhatASeamSays) {
  support::TestSeam seam;
  seam.set_elevated(true);
  EXPECT_TRUE(platform::is_elevated());
  seam.set_elevated(false);
  EXPECT_FALSE(platform::is_elevated());
}

TEST(Elevation, AnswersTheSameTwice) {
  EXPECT_EQ(platform::is_elevated(), platform::is_elevated());
}

}  // namespace
