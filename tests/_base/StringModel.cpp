#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>

#include "_base/PathString.h"
#include "_base/StringT.h"

namespace {

/// Counts what it gives out, and can be told to refuse.
class ChoosyMemMgr final : public zv::IMemMgr {
 public:
  void* Allocate(std::uint64_t size) override {
    return allocates ? Add(std::malloc(size)) : nullptr;
  }
  void* Reallocate(void* pointer, std::uint64_t size) override {
    if (!reallocates) return nullptr;
    blocks.erase(pointer);
    return Add(std::realloc(pointer, size));
  }
  void Free(void* pointer) override {
    EXPECT_EQ(blocks.erase(pointer), 1u) << "freed what it never gave out";
    std::free(pointer);
  }
  void Release() override { ++releases; }

  bool allocates = true;
  bool reallocates = true;
  int releases = 0;
  std::set<void*> blocks;

 private:
  void* Add(void* block) {
    blocks.insert(block);
    return block;
  }
};

/// A string as another module could hand it over: block and record lie in its own object, and its
/// own manager serves it from there on.
template <class Ch>
class ForeignString : public zv::StringT<Ch> {
 public:
  static constexpr std::uint64_t inner_capacity = 12;
  static constexpr std::uint64_t grow_step = 5;

  explicit ForeignString(zv::IMemMgr& manager)
      : zv::StringT<Ch>(block_, &record_, inner_capacity, grow_step) {
    record_.memory_manager = &manager;
  }
  using zv::StringT<Ch>::operator=;

 private:
  zv::StringRecord record_;
  unsigned char block_[20 + (inner_capacity + 1) * sizeof(Ch)];
};

template <class Field>
Field Read(const unsigned char* at) {
  Field field;
  std::memcpy(&field, at, sizeof(field));
  return field;
}

template <class Ch>
const unsigned char* BytesOf(const zv::StringT<Ch>& string) {
  return reinterpret_cast<const unsigned char*>(string.c_str());
}

/// Reads the packed block by the laid down steps, without the string's help.
template <class Ch>
void ExpectWholeBlock(const zv::StringT<Ch>& string) {
  const unsigned char* const text = BytesOf(string);
  EXPECT_EQ(Read<std::uint32_t>(text - 16), 0xABCDu);
  EXPECT_EQ(Read<std::uint32_t>(text - 4), 0xABCDu);
  const auto* const record = Read<const zv::StringRecord*>(text - 12);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(Read<std::uint32_t>(text + (record->capacity + 1) * sizeof(Ch)), 0xABCDu);
  EXPECT_EQ(string.c_str()[record->capacity], Ch{});
  EXPECT_LE(record->length, record->capacity);
}

/// What a string should be: its text by the standard's string, its capacity by the growth rules.
template <class Ch>
struct Model {
  std::basic_string<Ch> text;
  std::uint64_t capacity = 0;
  std::uint64_t grow_step = 64;
  bool is_null = true;

  void Reserve(std::uint64_t wanted) {
    is_null = false;
    capacity = wanted;
    text.resize(std::min<std::uint64_t>(text.size(), wanted));
  }
  void Assign(const std::basic_string<Ch>& value) {
    if (capacity == 0 || capacity < value.size()) {
      Reserve(capacity + std::max<std::uint64_t>(grow_step, value.size() - capacity));
    }
    text = value;
  }
  void Append(const std::basic_string<Ch>& value) {
    if (value.empty()) return;
    const std::uint64_t needed = text.size() + value.size();
    if (capacity == 0 || capacity < needed) {
      const std::uint64_t extra = std::max(needed - capacity, grow_step);
      Reserve(capacity + std::max<std::uint64_t>(extra, capacity < 1024 ? capacity : 1024));
    }
    text += value;
  }
};

template <class Ch>
class RandomWalk {
 public:
  RandomWalk(zv::StringT<Ch>& string, Model<Ch>& model, std::uint32_t seed)
      : string_(string), model_(model), random_(seed) {}

  void Run(int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      const int operation = Number(0, 11);
      SCOPED_TRACE("step " + std::to_string(step) + ", operation " + std::to_string(operation));
      Apply(operation);
      Compare();
    }
  }

  int Number(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random_);
  }

 private:
  std::basic_string<Ch> Text() {
    // Now and then long enough to pass several steps of growth at once.
    const int length = Number(0, 19) == 0 ? Number(0, 3000) : Number(0, 90);
    std::basic_string<Ch> text;
    for (int at = 0; at < length; ++at) text += static_cast<Ch>(Number(1, 255));
    return text;
  }

  void Apply(int operation) {
    const std::basic_string<Ch> text = Text();
    const auto within = [this](std::size_t most) {
      return static_cast<std::size_t>(Number(0, static_cast<int>(most)));
    };
    switch (operation) {
      case 0: {
        string_ = text.c_str();
        model_.Assign(text);
        break;
      }
      case 1: {
        const std::size_t count = within(text.size());
        string_.Assign(text.c_str(), count);
        model_.Assign(text.substr(0, count));
        break;
      }
      case 2:
      case 3: {
        string_.Append(text.c_str());
        model_.Append(text);
        break;
      }
      case 4: {
        const auto character = static_cast<Ch>(Number(1, 255));
        string_.AppendChar(character);
        model_.Append(std::basic_string<Ch>(1, character));
        break;
      }
      case 5: {
        const auto capacity = static_cast<std::uint64_t>(Number(0, 400));
        ASSERT_TRUE(string_.Reserve(capacity));
        model_.Reserve(capacity);
        break;
      }
      case 6: {
        string_ = static_cast<const Ch*>(nullptr);
        model_.Assign({});
        break;
      }
      case 7: {
        string_ = string_.buffer();
        if (model_.is_null) model_.Assign({});
        break;
      }
      case 8: {
        const std::size_t from = within(model_.text.size());
        if (model_.text.size() < 4000) {
          string_.Append(string_.c_str() + from);
          model_.Append(model_.text.substr(from));
        }
        break;
      }
      case 9: {
        const std::size_t from = within(model_.text.size());
        // From its very start the own text stays as it is, whatever the count.
        const std::size_t count = from == 0 ? 0 : within(model_.text.size() - from);
        if (!model_.is_null) string_.Assign(string_.c_str() + from, count);
        if (from != 0) model_.Assign(model_.text.substr(from, count));
        break;
      }
      case 10: {
        const zv::StringT<Ch> copy = string_;
        string_ = text.c_str();
        string_ = copy;
        if (text.size() > model_.capacity || model_.capacity == 0) {
          const auto former = model_.text;
          model_.Assign(text);
          model_.Assign(former);
        }
        break;
      }
      case 11: {
        if (model_.is_null) break;
        const std::size_t length = within(model_.capacity);
        std::fill_n(string_.buffer(), length, Ch{'x'});
        string_.buffer()[length] = Ch{};
        string_.RefreshLength();
        model_.text.assign(length, Ch{'x'});
        break;
      }
    }
  }

  void Compare() {
    ASSERT_TRUE(string_.IsValid());
    ASSERT_EQ(string_.buffer() == nullptr, model_.is_null);
    ASSERT_EQ(string_.Length(), model_.text.size());
    ASSERT_EQ(string_.Capacity(), model_.capacity);
    ASSERT_TRUE(string_.view() == model_.text);
    ASSERT_EQ(string_.c_str()[model_.text.size()], Ch{});
    if (!model_.is_null) ExpectWholeBlock(string_);
  }

  zv::StringT<Ch>& string_;
  Model<Ch>& model_;
  std::mt19937 random_;
};

template <class Ch>
class StringModel : public testing::Test {};
using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StringModel, Characters);

TYPED_TEST(StringModel, RandomOperationsOnAHeapStringFollowTheModel) {
  for (std::uint32_t seed = 1; seed <= 40 && !this->HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    zv::StringT<TypeParam> string;
    Model<TypeParam> model;
    RandomWalk<TypeParam>(string, model, seed).Run(300);
  }
}

TYPED_TEST(StringModel, RandomOperationsOnAStringOfAnotherModuleFollowTheModel) {
  for (std::uint32_t seed = 1; seed <= 40 && !this->HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ChoosyMemMgr manager;
    manager.reallocates = seed % 2 == 0;
    {
      ForeignString<TypeParam> string(manager);
      Model<TypeParam> model{{}, string.inner_capacity, string.grow_step, false};
      RandomWalk<TypeParam>(string, model, seed).Run(300);
      EXPECT_EQ(manager.releases, 0);
    }
    EXPECT_TRUE(manager.blocks.empty()) << "a block was never freed";
    EXPECT_EQ(manager.releases, 1);
  }
}

TYPED_TEST(StringModel, ARefusedReserveLeavesTheStringAsItWas) {
  for (std::uint32_t seed = 1; seed <= 20 && !this->HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ChoosyMemMgr manager;
    ForeignString<TypeParam> string(manager);
    Model<TypeParam> model{{}, string.inner_capacity, string.grow_step, false};
    RandomWalk<TypeParam> walk(string, model, seed);
    walk.Run(static_cast<int>(seed));

    const TypeParam* const text = string.c_str();
    const std::basic_string<TypeParam> former(string.view());
    const std::uint64_t capacity = string.Capacity();
    manager.allocates = manager.reallocates = false;
    EXPECT_FALSE(string.Reserve(static_cast<std::uint64_t>(walk.Number(0, 5000))));
    EXPECT_EQ(string.c_str(), text);
    EXPECT_TRUE(string.view() == former);
    EXPECT_EQ(string.Capacity(), capacity);
    ExpectWholeBlock(string);
  }
}

TYPED_TEST(StringModel, ACapacityWhoseSizeIsNoNumberIsRefused) {
  zv::StringT<TypeParam> string;
  EXPECT_FALSE(string.Reserve(~std::uint64_t{0}));
  EXPECT_FALSE(string.Reserve(~std::uint64_t{0} / sizeof(TypeParam)));
  EXPECT_EQ(string.buffer(), nullptr);
}

template <class Ch>
void GrowWithDamagedByte(std::ptrdiff_t from_text) {
  const Ch text[] = {'a', 0};
  zv::StringT<Ch> string(text);
  reinterpret_cast<unsigned char*>(string.buffer())[from_text] ^= 1;
  (void)string.Reserve(1000);
}

TYPED_TEST(StringModel, GrowthDoesNotHideADamagedGuard) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  constexpr auto text_end = static_cast<std::ptrdiff_t>(65 * sizeof(TypeParam));
  for (const std::ptrdiff_t guard_byte : {std::ptrdiff_t{-16}, std::ptrdiff_t{-1}, text_end}) {
    EXPECT_DEATH(GrowWithDamagedByte<TypeParam>(guard_byte),
                 "terminate called without an active exception");
  }
}

TEST(PathStringModel, RandomOperationsFollowTheModel) {
  for (std::uint32_t seed = 1; seed <= 40 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    zv::PathString path;
    Model<wchar_t> model{{}, 260, 260, false};
    RandomWalk<wchar_t>(path, model, seed).Run(300);
  }
}

}  // namespace
