#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "_base/ForeignString.h"
#include "_base/StringT.h"

namespace strings {

/// For tests that hold for strings of either character.
template <class Ch>
class StringTest : public testing::Test {
 protected:
  static std::basic_string<Ch> text(const std::string& from) { return wide_or_narrow<Ch>(from); }
  static std::basic_string<Ch> repeated(std::size_t count) {
    return std::basic_string<Ch>(count, Ch{'x'});
  }
  static const Ch* null() { return nullptr; }

  NotingManager manager;
};

struct CharacterNames {
  template <class Ch>
  static std::string GetName(int) {
    return sizeof(Ch) == 1 ? "char" : "wchar_t";
  }
};
using Characters = testing::Types<char, wchar_t>;

}  // namespace strings
