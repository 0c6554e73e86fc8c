#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "_base/List.h"
#include "_base/Map.h"

namespace {

using WideString = zv::StringT<wchar_t>;

struct Releaser {
  template <class Enumerator>
  void operator()(Enumerator* enumerator) const {
    zv::ReleaseEnum(enumerator);
  }
};
template <class Enumerator>
using Holder = std::unique_ptr<Enumerator, Releaser>;
template <class Enumerator>
Holder<Enumerator> Hold(Enumerator* enumerator) {
  return Holder<Enumerator>(enumerator);
}

std::wstring Plain(const WideString& value) {
  return std::wstring(value.view());
}
std::int64_t Plain(std::int64_t value) {
  return value;
}

template <class V>
V Make(int number);
template <>
WideString Make(int number) {
  return WideString(std::wstring_view(L"value " + std::to_wstring(number)));
}
template <>
std::int64_t Make(int number) {
  return (std::int64_t{number} << 33) - 7;
}

class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}
  int Number(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(engine_);
  }
  std::size_t Index(std::size_t size) {
    return static_cast<std::size_t>(Number(0, static_cast<int>(size)));
  }
  /// Few letters: keys meet again, differ in case only, and share hashes ("ab" and "bA").
  std::wstring Key() {
    std::wstring key;
    for (int length = Number(0, 3); length > 0; --length) key += L"abAB"[Number(0, 3)];
    return key;
  }

 private:
  std::mt19937 engine_;
};

template <class V>
class MapModel : public testing::Test {
 protected:
  using Reference = std::map<std::wstring, decltype(Plain(V{}))>;

  void Step(Random& random) {
    const std::wstring key = random.Key();
    const WideString wide_key{std::wstring_view(key)};
    const int operation = random.Number(0, 19);
    SCOPED_TRACE("operation " + std::to_string(operation));
    if (operation < 9) {
      const V value = Make<V>(random.Number(0, 1000));
      const bool is_new = reference_.emplace(key, Plain(value)).second;
      EXPECT_EQ(map_.Insert(wide_key, value), is_new ? 0u : 183u);
    } else if (operation < 13) {
      EXPECT_EQ(map_.Remove(wide_key), reference_.erase(key) != 0 ? 0u : 1168u);
    } else if (operation < 17) {
      EraseAt(random.Index(reference_.size()));
    } else if (operation < 19) {
      EraseEverySecond();
    } else if (random.Number(0, 4) == 0) {
      map_.Clear();
      reference_.clear();
    }
    CompareKey(key);
    CompareAll();
  }

 private:
  void EraseAt(std::size_t index) {
    const auto enumerator = Hold(map_.GetEnum());
    for (; index > 0; --index) enumerator->Next();
    if (enumerator->HasNext()) {
      EXPECT_EQ(reference_.erase(Plain(*enumerator->Key())), 1u);
    }
    map_.Erase(enumerator.get());
    EXPECT_EQ(map_.Count(), reference_.size());
  }

  void EraseEverySecond() {
    const auto enumerator = Hold(map_.GetEnum());
    std::size_t seen = 0;
    const std::size_t expected = reference_.size();
    for (; enumerator->HasNext(); ++seen) {
      if (seen % 2 == 0) {
        EXPECT_EQ(reference_.erase(Plain(*enumerator->Key())), 1u);
        map_.Erase(enumerator.get());
      } else {
        enumerator->Next();
      }
    }
    EXPECT_EQ(seen, expected) << "an erase left an entry out or met one twice";
  }

  void CompareKey(const std::wstring& key) {
    const WideString wide_key{std::wstring_view(key)};
    const auto expected = reference_.find(key);
    V copy{};
    ASSERT_EQ(map_.Get(wide_key, copy), expected != reference_.end() ? 0u : 1168u);
    ASSERT_EQ(map_.Find(wide_key) != nullptr, expected != reference_.end());
    EXPECT_EQ(std::as_const(map_).Find(wide_key), map_.Find(wide_key));
    if (expected != reference_.end()) {
      EXPECT_EQ(Plain(copy), expected->second);
    }
  }

  void CompareAll() {
    ASSERT_EQ(map_.Count(), reference_.size());
    const auto enumerator = Hold(map_.GetConstEnum());
    Reference seen;
    while (enumerator->HasNext()) {
      const std::wstring key = Plain(*enumerator->Key());
      const V* const value = enumerator->Value();
      ASSERT_TRUE(seen.emplace(key, Plain(*value)).second);
      ASSERT_EQ(enumerator->Next(), value);
    }
    EXPECT_EQ(seen, reference_);
    EXPECT_EQ(enumerator->Next(), nullptr);
  }

  zv::Map<WideString, V> map_;
  Reference reference_;
};

using Values = testing::Types<WideString, std::int64_t>;
TYPED_TEST_SUITE(MapModel, Values);

TYPED_TEST(MapModel, RandomOperationsFollowAnOrderedMap) {
  for (std::uint32_t seed = 1; seed <= 10 && !this->HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    for (int step = 0; step < 300 && !this->HasFailure(); ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      this->Step(random);
    }
  }
}

class ListModel : public testing::Test {
 protected:
  void Step(Random& random) {
    const int operation = random.Number(0, 9);
    SCOPED_TRACE("operation " + std::to_string(operation));
    const WideString value = Make<WideString>(random.Number(0, 1000));
    if (operation < 3) {
      EXPECT_EQ(list_.PushBack(value), 0u);
      reference_.push_back(Plain(value));
    } else if (operation < 5) {
      EXPECT_EQ(list_.PushFront(value), 0u);
      reference_.push_front(Plain(value));
    } else if (operation < 9) {
      EraseRun(random.Index(reference_.size()), random.Number(0, 2));
    } else if (random.Number(0, 9) == 0) {
      list_.Clear();
      reference_.clear();
    }
    CompareEnds();
    CompareAll();
  }

 private:
  /// Erases some elements in a row, the last of them perhaps past the end.
  void EraseRun(std::size_t index, int count) {
    const auto enumerator = Hold(list_.GetEnum());
    auto expected = reference_.begin();
    for (; index > 0; --index, ++expected) EXPECT_EQ(Plain(*enumerator->Next()), *expected);
    for (; count > 0; --count) {
      list_.Erase(enumerator.get());
      if (expected != reference_.end()) expected = reference_.erase(expected);
      ASSERT_EQ(enumerator->HasNext(), expected != reference_.end());
      if (enumerator->HasNext()) {
        EXPECT_EQ(Plain(*enumerator->Value()), *expected);
      }
    }
    enumerator->Reset();
    EXPECT_EQ(enumerator->Value(), list_.Front());
  }

  void CompareEnds() {
    const std::uint32_t expected = reference_.empty() ? 1168 : 0;
    WideString front;
    WideString back;
    EXPECT_EQ(list_.GetFront(front), expected);
    EXPECT_EQ(list_.GetBack(back), expected);
    ASSERT_EQ(list_.Front() == nullptr, reference_.empty());
    ASSERT_EQ(list_.Back() == nullptr, reference_.empty());
    if (reference_.empty()) return;
    EXPECT_EQ(Plain(front), reference_.front());
    EXPECT_EQ(Plain(back), reference_.back());
  }

  void CompareAll() {
    ASSERT_EQ(list_.Count(), reference_.size());
    const auto enumerator = Hold(std::as_const(list_).GetConstEnum());
    for (const std::wstring& expected : reference_) {
      ASSERT_TRUE(enumerator->HasNext());
      EXPECT_EQ(Plain(*enumerator->Next()), expected);
    }
    EXPECT_FALSE(enumerator->HasNext());
  }

  zv::List<WideString> list_;
  std::list<std::wstring> reference_;
};

TEST_F(ListModel, RandomOperationsFollowAStandardList) {
  for (std::uint32_t seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    for (int step = 0; step < 300 && !HasFailure(); ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      Step(random);
    }
  }
}

TEST(Containers, EraseOfNothingChangesNothing) {
  zv::Map<WideString, std::int64_t> map;
  zv::List<WideString> list;
  map.Insert(L"key", 1);
  list.PushBack(L"element");
  map.Erase(nullptr);
  list.Erase(nullptr);
  EXPECT_EQ(map.Count(), 1u);
  EXPECT_EQ(list.Count(), 1u);
}

TEST(Containers, HoldPointersThatTheyDoNotOwn) {
  zv::List<WideString> list;
  zv::Map<WideString, zv::IList<WideString>*> map;
  EXPECT_EQ(map.Insert(L"list", &list), 0u);
  (*map.Find(L"list"))->PushBack(L"element");
  map.Clear();
  EXPECT_EQ(list.Count(), 1u);
}

}  // namespace
