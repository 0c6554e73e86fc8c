#pragma once

#include <gtest/gtest.h>

#include <vector>

namespace support {

/// The one that a list has. The test fails, and an empty one is given, if it has more or none.
template <class Item>
Item only(const std::vector<Item>& all) {
  EXPECT_EQ(all.size(), 1u);
  return all.empty() ? Item{} : all.front();
}

}  // namespace support
