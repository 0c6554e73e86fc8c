#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "_base/ForeignString.h"
#include "_base/StringT.h"
#include "_base/StringTest.h"

namespace {

using strings::all_guards;
using strings::Block;
using strings::fail_fast;
using strings::ForeignString;
using strings::Guard;
using strings::NotingManager;
using strings::Shape;

// Each statement ends the process in good order if the operation lets it go on, so
// that only the operation in question can be what ended it.

template <class Ch>
class StringTDeathTest : public strings::StringTest<Ch> {
 protected:
  StringTDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  /// Ends the process unless `operation` does, on a string with room to spare and one guard broken.
  template <class Operation>
  static void on_damaged(Guard guard, Operation operation) {
    auto* const string = new zv::StringT<Ch>(strings::wide_or_narrow<Ch>("abc").c_str());
    if (string->Capacity() < 64 && !string->Reserve(64)) std::_Exit(0);
    Block<Ch>(*string).damage(guard);
    operation(string);
    std::_Exit(0);
  }
  template <class Operation>
  static void on_exhausted(Shape shape, Operation operation) {
    auto* const manager = new NotingManager;
    auto* const foreign = new ForeignString<Ch>(*manager, {}, shape);
    manager->refuses_allocate = true;
    manager->refuses_reallocate = true;
    operation(foreign->string);
    std::_Exit(0);
  }
};
TYPED_TEST_SUITE(StringTDeathTest, strings::Characters, strings::CharacterNames);

TYPED_TEST(StringTDeathTest, EndsTheProcessWhenAStringWithABrokenGuardIsChanged) {
  using String = zv::StringT<TypeParam>;
  for (const Guard guard : all_guards) {
    EXPECT_DEATH(this->on_damaged(guard, [](String* string) { string->AppendChar('d'); }),
                 fail_fast);
  }
}

TYPED_TEST(StringTDeathTest, EndsTheProcessWhenAStringWithABrokenGuardIsCopied) {
  using String = zv::StringT<TypeParam>;
  for (const Guard guard : all_guards) {
    EXPECT_DEATH(this->on_damaged(guard, [](String* string) { String copy(*string); }), fail_fast);
  }
}

TYPED_TEST(StringTDeathTest, EndsTheProcessWhenAStringWithABrokenGuardIsDestroyed) {
  using String = zv::StringT<TypeParam>;
  for (const Guard guard : all_guards) {
    EXPECT_DEATH(this->on_damaged(guard, [](String* string) { delete string; }), fail_fast);
  }
}

TYPED_TEST(StringTDeathTest, ChecksItsGuardsAfterEveryKindOfChange) {
  using String = zv::StringT<TypeParam>;
  static const std::basic_string<TypeParam> text{'u', 'v'};
  EXPECT_DEATH(this->on_damaged(Guard::tail, [](String* string) { string->Append(text.c_str()); }),
               fail_fast);
  EXPECT_DEATH(this->on_damaged(Guard::tail, [](String* string) { string->Assign(text.c_str()); }),
               fail_fast);
  EXPECT_DEATH(this->on_damaged(Guard::tail, [](String* string) { *string = text.c_str(); }),
               fail_fast);
  EXPECT_DEATH(
      this->on_damaged(Guard::tail, [](String* string) { *string = String(text.c_str()); }),
      fail_fast);
  EXPECT_DEATH(
      this->on_damaged(Guard::tail,
                       [](String* string) { *string = static_cast<const TypeParam*>(nullptr); }),
      fail_fast);
  EXPECT_DEATH(this->on_damaged(Guard::tail, [](String* string) { string->RefreshLength(); }),
               fail_fast);
}

TYPED_TEST(StringTDeathTest, ChecksTheSourceOfAnAssignment) {
  using String = zv::StringT<TypeParam>;
  EXPECT_DEATH(this->on_damaged(Guard::second,
                                [](String* string) {
                                  auto* const target = new String;
                                  *target = *string;
                                }),
               fail_fast);
}

TYPED_TEST(StringTDeathTest, EndsTheProcessWhenMemoryRunsOutInAnOperationThatMustSucceed) {
  using String = zv::StringT<TypeParam>;
  static const std::basic_string<TypeParam> text(100, 'x');
  EXPECT_DEATH(this->on_exhausted({}, [](String& string) { string.Append(text.c_str()); }),
               fail_fast);
  EXPECT_DEATH(this->on_exhausted({}, [](String& string) { string.Assign(text.c_str()); }),
               fail_fast);
  EXPECT_DEATH(this->on_exhausted({}, [](String& string) { string = String(text.c_str()); }),
               fail_fast);
  EXPECT_DEATH(this->on_exhausted({.capacity = 0}, [](String& string) { string.AppendChar('x'); }),
               fail_fast);
  EXPECT_DEATH(
      this->on_exhausted({.capacity = 0},
                         [](String& string) { string = static_cast<const TypeParam*>(nullptr); }),
      fail_fast);
}

TYPED_TEST(StringTDeathTest, EndsTheProcessWhenTheTextIsLongerThanItsBlock) {
  EXPECT_DEATH(
      {
        ForeignString<TypeParam> foreign(this->manager, {}, {.capacity = 10});
        std::fill_n(foreign.string.buffer(), 11, TypeParam{'x'});
        foreign.string.RefreshLength();
        std::_Exit(0);
      },
      fail_fast);
}

TYPED_TEST(StringTDeathTest, RethrowsWhatIsInFlight) {
  zv::StringT<TypeParam> string(this->text("abc").c_str());
  const Block<TypeParam> block(string);
  block.damage(Guard::tail);
  try {
    throw std::runtime_error("in flight");
  } catch (const std::runtime_error&) {
    try {
      string.AppendChar(TypeParam{'d'});
      ADD_FAILURE() << "the broken guard went unnoticed";
    } catch (const std::runtime_error& rethrown) {
      EXPECT_STREQ(rethrown.what(), "in flight");
    }
  }
  block.damage(Guard::tail);
}

}  // namespace
