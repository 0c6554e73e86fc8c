#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "_base/FailingAllocation.h"
#include "_base/change_records.h"
#include "_base/directory_mgmt/change_reporter.h"

namespace {

using change_records::Records;
using namespace change_records::actions;
using winapi::directory_mgmt::change_reporter;
using winapi::directory_mgmt::directory_changes_iterator;
using Calls = std::vector<std::wstring>;

class ChangeReporter : public testing::Test {
 protected:
  void report(Records& records, const wchar_t* folder = L"/f") {
    reporter_.report(folder, records.begin());
  }
  void report(std::uint32_t action, std::wstring_view name, const wchar_t* folder = L"/f") {
    Records records;
    report(records.add(action, name), folder);
  }

  change_records::RecordingObserver observer_;
  change_reporter reporter_{&observer_};
};

TEST_F(ChangeReporter, TellsEachRecordInItsOrder) {
  Records records;
  records.add(added, L"a").add(modified, L"a").add(modified, L"a").add(removed, L"b");
  report(records);
  EXPECT_EQ(observer_.calls(),
            Calls({L"created /f a", L"modified /f a", L"modified /f a", L"removed /f b"}));
}

TEST_F(ChangeReporter, SkipsOtherActions) {
  Records records;
  records.add(0, L"").add(added, L"a").add(6, L"b").add(0xffffffff, L"c").add(removed, L"d");
  report(records);
  EXPECT_EQ(observer_.calls(), Calls({L"created /f a", L"removed /f d"}));
}

TEST_F(ChangeReporter, TellsNothingOfABufferThatNothingWasWrittenTo) {
  alignas(4) const unsigned char buffer[4096] = {};
  reporter_.report(L"/f", {buffer, sizeof buffer});
  reporter_.report(L"/f", {});
  EXPECT_EQ(observer_.calls(), Calls());
}

TEST_F(ChangeReporter, TellsARenameOnceInsteadOfARemovalAndACreation) {
  Records records;
  records.add(modified, L"x").add(old_name, L"old").add(new_name, L"new").add(added, L"y");
  report(records);
  EXPECT_EQ(observer_.calls(), Calls({L"modified /f x", L"renamed /f old new", L"created /f y"}));
}

TEST_F(ChangeReporter, TakesTheNewNameFirstAsWell) {
  Records records;
  records.add(new_name, L"new").add(old_name, L"old");
  report(records);
  EXPECT_EQ(observer_.calls(), Calls({L"renamed /f old new"}));
}

TEST_F(ChangeReporter, TakesWhateverFollowsAHalfInItsBufferForTheOther) {
  for (const std::uint32_t second : {added, removed, modified, old_name, 0u, 77u}) {
    Records records;
    records.add(old_name, L"a").add(second, L"b").add(added, L"c");
    report(records);
  }
  Records records;
  report(records.add(new_name, L"a").add(new_name, L"b"));
  const Calls pair{L"renamed /f a b", L"created /f c"};
  Calls expected;
  for (int i = 0; i != 6; ++i) expected.insert(expected.end(), pair.begin(), pair.end());
  expected.push_back(L"renamed /f b a");
  EXPECT_EQ(observer_.calls(), expected);
}

TEST_F(ChangeReporter, TellsARenameWhoseHalvesAreInTwoBuffersAtTheSecond) {
  Records first;
  report(first.add(added, L"x").add(old_name, L"old"));
  EXPECT_EQ(observer_.calls(), Calls({L"created /f x"}));
  Records second;
  report(second.add(new_name, L"new").add(added, L"y"));
  EXPECT_EQ(observer_.calls(), Calls({L"created /f x", L"renamed /f old new", L"created /f y"}));
}

TEST_F(ChangeReporter, KeepsTheRolesWhenTheNewNameCameABufferEarlier) {
  report(new_name, L"new");
  report(old_name, L"old");
  EXPECT_EQ(observer_.calls(), Calls({L"renamed /f old new"}));
}

TEST_F(ChangeReporter, KeepsAHalfUntilItsFolderHasSomethingToTell) {
  report(old_name, L"old");
  reporter_.report(L"/f", {});
  Records cut;
  cut.add(new_name, L"new").last().name_bytes = 4096;
  report(cut);
  report(new_name, L"new");
  EXPECT_EQ(observer_.calls(), Calls({L"renamed /f old new"}));
}

TEST_F(ChangeReporter, DropsAHalfAndTheRecordThatIsNotItsOther) {
  for (const std::uint32_t half : {old_name, new_name}) {
    for (const std::uint32_t other : {added, removed, modified, half, 0u, 77u}) {
      report(half, L"half");
      Records records;
      report(records.add(other, L"dropped").add(added, L"next"));
    }
  }
  EXPECT_EQ(observer_.calls(), Calls(12, L"created /f next"));
}

TEST_F(ChangeReporter, WaitsForNoOtherHalfAfterOneWasDropped) {
  report(old_name, L"half");
  report(added, L"dropped");
  report(added, L"told");
  EXPECT_EQ(observer_.calls(), Calls({L"created /f told"}));
}

TEST_F(ChangeReporter, KeepsTheHalvesOfEachFolderApart) {
  report(old_name, L"old", L"/f");
  report(new_name, L"another", L"/g");
  report(added, L"x", L"/h");
  report(new_name, L"new", L"/f");
  report(old_name, L"one", L"/g");
  EXPECT_EQ(observer_.calls(),
            Calls({L"created /h x", L"renamed /f old new", L"renamed /g one another"}));
}

TEST_F(ChangeReporter, KnowsAFolderByItsTextAndNotByItsAddress) {
  const std::wstring one = L"/f";
  const std::wstring same = L"/f";
  report(old_name, L"old", one.c_str());
  report(new_name, L"new", same.c_str());
  EXPECT_EQ(observer_.calls(), Calls({L"renamed /f old new"}));
}

TEST_F(ChangeReporter, MayWaitAgainAtTheEndOfTheBufferThatBroughtTheOtherHalf) {
  report(old_name, L"a");
  Records second;
  report(second.add(new_name, L"b").add(old_name, L"c"));
  report(new_name, L"d");
  EXPECT_EQ(observer_.calls(), Calls({L"renamed /f a b", L"renamed /f c d"}));
}

TEST_F(ChangeReporter, CopiesTheNameThatWaits) {
  {
    Records records;
    report(records.add(old_name, L"a name that is too long to be kept inside a text"));
    std::fill(records.bytes(), records.bytes() + records.size(), static_cast<unsigned char>('?'));
  }
  report(new_name, L"new");
  EXPECT_EQ(observer_.calls(),
            Calls({L"renamed /f a name that is too long to be kept inside a text new"}));
}

TEST_F(ChangeReporter, TellsABufferAgainThatAnOverflowLeftAsItWas) {
  Records records;
  records.add(added, L"a").add(old_name, L"b").add(new_name, L"c");
  report(records);
  report(records);
  EXPECT_EQ(observer_.calls(),
            Calls({L"created /f a", L"renamed /f b c", L"created /f a", L"renamed /f b c"}));
}

/// Notes without allocating.
class FirstCall final : public idirectories_observer {
 public:
  void on_created(const wchar_t* called, std::wstring_view told) override { note(called, told); }
  void on_removed(const wchar_t* called, std::wstring_view told) override { note(called, told); }
  void on_modified(const wchar_t* called, std::wstring_view told) override { note(called, told); }
  void on_renamed(const wchar_t* called, std::wstring_view, std::wstring_view told) override {
    note(called, told);
  }

  int calls() const { return calls_; }
  const wchar_t* folder() const { return folder_; }
  const wchar_t* name() const { return name_; }

 private:
  void note(const wchar_t* called, std::wstring_view told) {
    if (calls_++ != 0) return;
    folder_ = called;
    name_ = told.data();
  }

  int calls_ = 0;
  const wchar_t* folder_ = nullptr;
  const wchar_t* name_ = nullptr;
};

TEST(ChangeReporterAlone, HandsTheFolderAndTheNameOnAsTheyCame) {
  FirstCall observer;
  change_reporter reporter(&observer);
  Records records;
  records.add(added, L"a");
  const wchar_t* const folder = L"/f";
  reporter.report(folder, records.begin());
  EXPECT_EQ(observer.folder(), folder);
  EXPECT_EQ(static_cast<const void*>(observer.name()),
            records.bytes() + sizeof(platform::change_record));
}

TEST(ChangeReporterAlone, AllocatesForAHalfThatWaitsOnlyAndDropsItWithoutMemory) {
  FirstCall observer;
  change_reporter reporter(&observer);
  Records records;
  records.add(added, L"a").add(modified, L"b").add(removed, L"c");
  records.add(old_name, L"d").add(new_name, L"e");
  Records half;
  half.add(old_name, L"f");
  EXPECT_FALSE(failing_allocation::met_by(0, [&] { reporter.report(L"/f", records.begin()); }));
  EXPECT_EQ(observer.calls(), 4);
  EXPECT_TRUE(failing_allocation::met_by(0, [&] { reporter.report(L"/f", half.begin()); }));
  Records other_half;
  reporter.report(L"/f", other_half.add(new_name, L"g").add(added, L"h").begin());
  EXPECT_EQ(observer.calls(), 5) << "the other half waits for a partner of its own";
}

}  // namespace
