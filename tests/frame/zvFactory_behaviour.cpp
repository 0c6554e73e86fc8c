#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "frame/servplugin.h"
#include "frame/zvFactory.h"

namespace {

constexpr IID other_id = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};

struct Lives {
  std::atomic<int> built{0};
  std::atomic<int> destroyed{0};
  std::atomic<int> initialised{0};
  std::atomic<int> most_alive{0};
  std::atomic<bool> refuses_query{false};
  std::atomic<bool> was_zero_filled{true};
  std::atomic<std::uint32_t> destructor_flags{0};

  int alive() const { return built - destroyed; }
};
Lives* lives = nullptr;

/// Which: so that each factory of a test has a class, and an extra id, of its own.
template <int Which>
class Plugin final : public zv::framework::servplugin<true> {
 public:
  static constexpr IID extra_id = {Which, 0xABCD, 0xABCD, {}};

  Plugin() {
    const volatile unsigned char* const bytes = memory_;
    for (std::size_t i = 0; i != sizeof memory_; ++i) {
      if (bytes[i] != 0) lives->was_zero_filled = false;
    }
    const int alive = ++lives->built - lives->destroyed;
    if (alive > lives->most_alive) lives->most_alive = alive;
  }
  ~Plugin() { ++lives->destroyed; }

  void* QueryInterface(const IID& id) override {
    if (lives->refuses_query) return nullptr;
    if (id == extra_id) return &memory_;
    return servplugin::QueryInterface(id);
  }
  std::uint32_t Init(IServMain* host) override {
    ++lives->initialised;
    return servplugin::Init(host);
  }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    lives->destructor_flags = flags;
    return msvc_abi::run_destructor(this, flags);
  }

 private:
  unsigned char memory_[512];  // left as the allocation gave it
};

/// A node that sees what reaches it and ends the chain.
class LastNode final : public zvFactoryBase {
 public:
  void* Query(const IID&) override {
    ++queries;
    return query_answer;
  }
  std::uint32_t Create(const wchar_t* name, IID id, void** out) override {
    ++creates;
    create_name = name;
    create_id = id;
    create_out = out;
    return 4711;
  }
  void Destroy(const wchar_t*, void* object) override {
    ++destroys;
    destroy_object = object;
  }

  int queries = 0;
  int creates = 0;
  int destroys = 0;
  void* query_answer = nullptr;
  const wchar_t* create_name = nullptr;
  IID create_id{};
  void** create_out = nullptr;
  void* destroy_object = nullptr;
};

class Factory : public testing::Test {
 protected:
  Factory() { lives = &lives_; }
  ~Factory() override { lives = nullptr; }

  Lives lives_;
  void* out_ = nullptr;
  char something_ = 0;
};

TEST_F(Factory, RegisteredLastStandsFirstInTheChain) {
  zvFactory<Plugin<1>> first(L"first");
  EXPECT_EQ(zvFactoryBase::head(), &first);
  {
    zvFactory<Plugin<2>> second(L"second");
    EXPECT_EQ(zvFactoryBase::head(), &second);
  }
  EXPECT_EQ(zvFactoryBase::head(), &first) << "the head moves on when it ends";
}

TEST_F(Factory, LeavesTheChainAsItWasWhenItEnds) {
  zvFactoryBase* const before = zvFactoryBase::head();
  { zvFactory<Plugin<1>> factory(L"one"); }
  EXPECT_EQ(zvFactoryBase::head(), before);
}

TEST_F(Factory, TakenOutOfTheMiddleLeavesBothNeighboursReachable) {
  zvFactory<Plugin<1>> last(L"last");
  auto middle = std::make_unique<zvFactory<Plugin<2>>>(L"middle");
  zvFactory<Plugin<3>> first(L"first");

  middle.reset();

  EXPECT_EQ(zvFactoryBase::head(), &first);
  EXPECT_EQ(first.Create(L"last", IID_IServPlugin, &out_), 0u);
  EXPECT_EQ(first.Create(L"middle", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(first.Create(L"first", IID_IServPlugin, &out_), 0u);
  first.Destroy(L"last", out_);
  first.Destroy(L"first", out_);
}

TEST_F(Factory, TakenFromTheEndLeavesTheOthersReachable) {
  auto last = std::make_unique<zvFactory<Plugin<1>>>(L"last");
  zvFactory<Plugin<2>> first(L"first");
  last.reset();
  EXPECT_EQ(first.Create(L"last", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(first.Create(L"first", IID_IServPlugin, &out_), 0u);
  first.Destroy(L"first", out_);
}

TEST_F(Factory, RefusesANullOutAndWritesNothing) {
  zvFactory<Plugin<1>> factory(L"one");
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, nullptr), 13u);
  EXPECT_EQ(factory.Create(nullptr, other_id, nullptr), 13u);
  EXPECT_EQ(lives_.built, 0);
}

TEST_F(Factory, RefusesANullNameAfterClearingOut) {
  zvFactory<Plugin<1>> factory(L"one");
  out_ = &something_;
  EXPECT_EQ(factory.Create(nullptr, IID_IServPlugin, &out_), 13u);
  EXPECT_EQ(out_, nullptr);
}

TEST_F(Factory, RefusesAnyOtherIdEvenThoseThePluginKnows) {
  zvFactory<Plugin<1>> factory(L"one");
  for (const IID& id : {other_id, Plugin<1>::extra_id}) {
    out_ = &something_;
    EXPECT_EQ(factory.Create(L"one", id, &out_), 13u);
    EXPECT_EQ(out_, nullptr);
  }
  EXPECT_EQ(lives_.built, 0);
}

TEST_F(Factory, RefusesAWrongIdWithoutWalkingTheChain) {
  LastNode last;
  zvFactory<Plugin<1>> factory(L"one");
  EXPECT_EQ(factory.Create(L"another", other_id, &out_), 13u);
  EXPECT_EQ(factory.Create(nullptr, IID_IServPlugin, &out_), 13u);
  EXPECT_EQ(last.creates, 0);
}

TEST_F(Factory, HandsAnotherNameToTheNextOneUnchanged) {
  LastNode last;
  zvFactory<Plugin<1>> factory(L"one");
  const wchar_t* const name = L"another";
  EXPECT_EQ(factory.Create(name, IID_IZvBaseInterface, &out_), 4711u);
  EXPECT_EQ(last.creates, 1);
  EXPECT_EQ(last.create_name, name);
  EXPECT_EQ(last.create_id, IID_IZvBaseInterface);
  EXPECT_EQ(last.create_out, &out_);
}

TEST_F(Factory, AnswersNotFoundAtTheEndOfTheChain) {
  zvFactory<Plugin<1>> factory(L"one");
  zvFactory<Plugin<2>> front(L"two");
  out_ = &something_;
  EXPECT_EQ(front.Create(L"three", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(out_, nullptr);
}

TEST_F(Factory, ComparesNamesCaseSensitivelyAndWhole) {
  zvFactory<Plugin<1>> factory(L"one");
  EXPECT_EQ(factory.Create(L"One", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(factory.Create(L"on", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(factory.Create(L"one ", IID_IServPlugin, &out_), 1168u);
}

TEST_F(Factory, DoesNotTakeAnEmptyNameForItsEmptyAlternateName) {
  zvFactory<Plugin<1>> factory(L"one");
  EXPECT_EQ(factory.Create(L"", IID_IServPlugin, &out_), 1168u);
  EXPECT_EQ(lives_.built, 0);
}

TEST_F(Factory, CreatesThePluginInZeroFilledMemoryWithoutInitialisingIt) {
  // Leaves some rubbish where the next allocation may come from.
  std::make_unique<std::vector<unsigned char>>(sizeof(Plugin<1>), std::uint8_t{0xEE}).reset();
  zvFactory<Plugin<1>> factory(L"one");
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  EXPECT_TRUE(lives_.was_zero_filled);
  EXPECT_EQ(lives_.initialised, 0);
  factory.Destroy(L"one", out_);
}

TEST_F(Factory, GivesTheFacetThatWasAskedFor) {
  zvFactory<Plugin<1>> factory(L"one");
  void* base = nullptr;
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  ASSERT_EQ(factory.Create(L"one", IID_IZvBaseInterface, &base), 0u);
  IServPlugin* const plugin = static_cast<IServPlugin*>(out_);
  EXPECT_EQ(plugin->QueryInterface(IID_IServPlugin), out_);
  EXPECT_EQ(plugin->QueryInterface(IID_IZvBaseInterface), base);
  factory.Destroy(L"one", out_);
  factory.Destroy(L"one", base);
}

TEST_F(Factory, SharesOneObjectUntilTheLastDestroy) {
  zvFactory<Plugin<1>> factory(L"one");
  void* again = nullptr;
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &again), 0u);
  EXPECT_EQ(out_, again);
  EXPECT_EQ(lives_.built, 1);
  EXPECT_EQ(lives_.initialised, 0) << "a second Create does not call Init";

  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.destroyed, 0);
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.destroyed, 1);
  EXPECT_EQ(lives_.destructor_flags & msvc_abi::free_memory, msvc_abi::free_memory);

  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  EXPECT_EQ(lives_.built, 2);
  factory.Destroy(L"one", out_);
}

TEST_F(Factory, CountsACreationWhoseFacetWasRefused) {
  zvFactory<Plugin<1>> factory(L"one");
  lives_.refuses_query = true;
  out_ = &something_;
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 14u);
  EXPECT_EQ(out_, nullptr);
  EXPECT_EQ(lives_.alive(), 1);

  lives_.refuses_query = false;
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  EXPECT_EQ(lives_.built, 1) << "the object of the refused creation is the one";
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 1);
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, DestroyOfANullObjectChangesNoCount) {
  LastNode last;
  zvFactory<Plugin<1>> factory(L"one");
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  factory.Destroy(L"one", nullptr);
  EXPECT_EQ(lives_.alive(), 1);
  EXPECT_EQ(last.destroys, 1) << "it goes on without a look at the name";
  EXPECT_EQ(last.destroy_object, nullptr);
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, DestroyOfANullObjectEndsSilentlyAtTheEndOfTheChain) {
  zvFactory<Plugin<1>> factory(L"one");
  factory.Destroy(L"one", nullptr);
  factory.Destroy(nullptr, nullptr);
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, DestroyOfAnUnknownNameDoesNothing) {
  zvFactory<Plugin<1>> factory(L"one");
  zvFactory<Plugin<2>> front(L"two");
  ASSERT_EQ(front.Create(L"one", IID_IServPlugin, &out_), 0u);
  front.Destroy(L"three", out_);
  EXPECT_EQ(lives_.alive(), 1);
  front.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, DestroysByNameWhateverTheObject) {
  zvFactory<Plugin<1>> factory(L"one");
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  factory.Destroy(L"one", &something_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, SurplusDestroyMakesTheNextCreationBuildNothing) {
  zvFactory<Plugin<1>> factory(L"one");
  factory.Destroy(L"one", &something_);

  out_ = &something_;
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 14u);
  EXPECT_EQ(out_, nullptr);
  EXPECT_EQ(lives_.built, 0);

  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u) << "the count is back at zero";
  EXPECT_EQ(lives_.built, 1);
  factory.Destroy(L"one", out_);
  EXPECT_EQ(lives_.alive(), 0);
}

TEST_F(Factory, EachSurplusDestroyCostsOneCreation) {
  zvFactory<Plugin<1>> factory(L"one");
  ASSERT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  for (int i = 0; i != 3; ++i) factory.Destroy(L"one", &something_);
  EXPECT_EQ(lives_.destroyed, 1);
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 14u);
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 14u);
  EXPECT_EQ(factory.Create(L"one", IID_IServPlugin, &out_), 0u);
  EXPECT_EQ(lives_.built, 2);
  factory.Destroy(L"one", out_);
}

TEST_F(Factory, QueryFindsALivePluginByInterfaceAnywhereBehind) {
  LastNode last;
  last.query_answer = &something_;
  zvFactory<Plugin<1>> behind(L"one");
  zvFactory<Plugin<2>> front(L"two");
  EXPECT_EQ(front.Query(Plugin<1>::extra_id), &something_) << "nothing is alive before the last";

  ASSERT_EQ(front.Create(L"one", IID_IServPlugin, &out_), 0u);
  void* const expected = static_cast<IServPlugin*>(out_)->QueryInterface(Plugin<1>::extra_id);
  EXPECT_EQ(front.Query(Plugin<1>::extra_id), expected);
  EXPECT_EQ(last.queries, 1) << "an answer ends the walk";
  EXPECT_EQ(front.Query(IID_IServPlugin), out_);
  EXPECT_EQ(front.Query(other_id), &something_) << "a null answer asks the next";
  front.Destroy(L"one", out_);
}

TEST_F(Factory, QueryGivesNullAtTheEndOfTheChain) {
  zvFactory<Plugin<1>> behind(L"one");
  zvFactory<Plugin<2>> front(L"two");
  EXPECT_EQ(front.Query(Plugin<1>::extra_id), nullptr);
}

TEST_F(Factory, NeverHasTwoObjectsHoweverManyThreadsCreateAndDestroy) {
  zvFactory<Plugin<1>> factory(L"one");
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int i = 0; i != 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round != 2000; ++round) {
        void* out = nullptr;
        if (factory.Create(L"one", IID_IServPlugin, &out) != 0 || out == nullptr) ++failures;
        factory.Destroy(L"one", out);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(lives_.most_alive, 1);
  EXPECT_EQ(lives_.alive(), 0);
}

}  // namespace
