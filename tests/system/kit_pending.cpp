#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "devkit/common/Pending.h"

namespace kit_test {

namespace {

using devkit::Pending;

TEST(Pending, GivesWhatWasPutOnce) {
  Pending<int> pending(2);
  pending.put("one", 1);
  ASSERT_NE(pending.find("one"), nullptr);
  EXPECT_EQ(*pending.find("one"), 1);
  EXPECT_EQ(pending.take("one"), std::optional<int>(1));
  EXPECT_EQ(pending.take("one"), std::nullopt);
  EXPECT_EQ(pending.find("one"), nullptr);
}

TEST(Pending, ForgetsTheOldestWhateverItsName) {
  Pending<int> pending(2);
  pending.put("z", 1);
  pending.put("a", 2);
  pending.put("m", 3);
  EXPECT_EQ(pending.find("z"), nullptr);
  EXPECT_EQ(pending.take("a"), std::optional<int>(2));
  EXPECT_EQ(pending.take("m"), std::optional<int>(3));
}

TEST(Pending, HasRoomAgainForWhatWasTaken) {
  Pending<int> pending(2);
  for (int i = 0; i < 10; ++i) {
    pending.put("stays", i);
    pending.put("goes", i);
    EXPECT_EQ(pending.take("goes"), std::optional<int>(i));
  }
  EXPECT_EQ(pending.take("stays"), std::optional<int>(9));
}

TEST(Pending, TakesANameThatComesAgainForTheNewest) {
  Pending<int> pending(2);
  pending.put("again", 1);
  pending.put("other", 2);
  pending.put("again", 3);
  pending.put("new", 4);
  EXPECT_EQ(pending.find("other"), nullptr);
  EXPECT_EQ(pending.take("again"), std::optional<int>(3));
  EXPECT_EQ(pending.take("new"), std::optional<int>(4));
}

}  // namespace

}  // namespace kit_test
