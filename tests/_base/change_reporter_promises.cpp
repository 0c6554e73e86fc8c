// What an observer hears of the change records in a buffer.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "_base/change_records.h"
#include "_base/directory_mgmt/change_reporter.h"
#include "_base/directory_mgmt/directory_changes_iterator.h"
#include "_base/directory_mgmt/idirectories_observer.h"
#include "_base/slots.h"

namespace {

using change_records::Records;
using namespace change_records::actions;
using winapi::directory_mgmt::change_reporter;
using winapi::directory_mgmt::directory_changes_iterator;
using Calls = std::vector<std::wstring>;

// the observer

TEST(DirectoriesObserver, HasItsFourOperationsInOrder) {
  EXPECT_EQ(slots::slot(&idirectories_observer::on_created), 0u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_removed), 1u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_modified), 2u);
  EXPECT_EQ(slots::slot(&idirectories_observer::on_renamed), 3u);
}

// the walk over one buffer

TEST(ChangeRecords, EndBehindARecordWithoutASuccessor) {
  Records records;
  records.add(added, L"only");
  directory_changes_iterator walk = records.begin();
  ASSERT_FALSE(walk.at_end());
  EXPECT_EQ(walk->action, added);
  EXPECT_EQ(walk->name, L"only");
  ++walk;
  EXPECT_TRUE(walk.at_end());
  EXPECT_EQ(walk, directory_changes_iterator());
}

TEST(ChangeRecords, AreWalkedInTheirOrderByTheOffsetsBetweenThem) {
  Records records;
  records.add(modified, L"a").add(added, L"longer name").add(77, L"");
  directory_changes_iterator walk = records.begin();
  EXPECT_EQ(walk->name, L"a");
  ++walk;
  EXPECT_EQ(walk->action, added);
  EXPECT_EQ(walk->name, L"longer name");
  EXPECT_FALSE(walk == directory_changes_iterator());
  ++walk;
  EXPECT_EQ(walk->action, 77u);
  EXPECT_EQ(walk->name, L"");
  ++walk;
  EXPECT_EQ(walk, directory_changes_iterator());
}

TEST(ChangeRecords, OfTwoWalksAreEqualAtTheirEnds) {
  Records one;
  one.add(added, L"a");
  Records other;
  other.add(removed, L"b").add(removed, L"c");
  directory_changes_iterator first = one.begin();
  directory_changes_iterator second = other.begin();
  EXPECT_FALSE(first == second);
  ++first;
  ++ ++second;
  EXPECT_EQ(first, second);
}

// from records to calls

class ChangeReporter : public testing::Test {
 protected:
  /// The calls that these records alone lead to.
  Calls report(Records records, const wchar_t* folder = L"f") {
    const std::size_t before = observer.calls().size();
    reporter.report(folder, records.begin());
    Calls calls = observer.calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    return calls;
  }
  static Records records() { return {}; }

  change_records::RecordingObserver observer;
  change_reporter reporter{&observer};
};

TEST_F(ChangeReporter, CallsOncePerRecordAsTheyCome) {
  EXPECT_EQ(
      report(records()
                 .add(added, L"a")
                 .add(modified, L"a")
                 .add(modified, L"a")
                 .add(removed, L"a")
                 .add(modified, L"b")),
      (Calls{L"created f a", L"modified f a", L"modified f a", L"removed f a", L"modified f b"}));
}

TEST_F(ChangeReporter, TellsARenameWithinABufferOnce) {
  EXPECT_EQ(report(records().add(old_name, L"a").add(new_name, L"b").add(modified, L"b")),
            (Calls{L"renamed f a b", L"modified f b"}));
}

TEST_F(ChangeReporter, GivesTheNamesTheirRolesWhenTheNewOneComesFirst) {
  EXPECT_EQ(report(records().add(new_name, L"b").add(old_name, L"a")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, TakesWhateverFollowsAHalfForItsPartner) {
  EXPECT_EQ(report(records().add(old_name, L"a").add(modified, L"b").add(removed, L"c")),
            (Calls{L"renamed f a b", L"removed f c"}));
  EXPECT_EQ(report(records().add(new_name, L"a").add(added, L"b")), (Calls{L"renamed f b a"}));
  EXPECT_EQ(report(records().add(old_name, L"a").add(old_name, L"b")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, TellsARenameInTwoBuffersOnceAtTheSecond) {
  EXPECT_EQ(report(records().add(added, L"x").add(old_name, L"a")), (Calls{L"created f x"}));
  EXPECT_EQ(report(records().add(new_name, L"b").add(removed, L"c")),
            (Calls{L"renamed f a b", L"removed f c"}));
}

TEST_F(ChangeReporter, TellsARenameInTwoBuffersWhoseNewNameComesFirst) {
  EXPECT_EQ(report(records().add(new_name, L"b")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"a")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, DropsTheFirstRecordAfterAHalfThatLostItsPartner) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(added, L"b").add(modified, L"c")), (Calls{L"modified f c"}));
  EXPECT_EQ(report(records().add(modified, L"d")), (Calls{L"modified f d"}));
}

TEST_F(ChangeReporter, DropsASecondHalfOfTheSameRole) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"b").add(new_name, L"c")), Calls{});
  EXPECT_EQ(report(records().add(old_name, L"d")), (Calls{L"renamed f d c"}));
}

TEST_F(ChangeReporter, KeepsAnotherHalfAfterItCompletedOne) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  EXPECT_EQ(report(records().add(new_name, L"b").add(added, L"c").add(old_name, L"d")),
            (Calls{L"renamed f a b", L"created f c"}));
  EXPECT_EQ(report(records().add(new_name, L"e")), (Calls{L"renamed f d e"}));
}

TEST_F(ChangeReporter, KeepsAHalfForEachFolder) {
  EXPECT_EQ(report(records().add(old_name, L"a"), L"f"), Calls{});
  EXPECT_EQ(report(records().add(added, L"x"), L"g"), (Calls{L"created g x"}));
  EXPECT_EQ(report(records().add(old_name, L"y"), L"g"), Calls{});
  EXPECT_EQ(report(records().add(new_name, L"b"), L"f"), (Calls{L"renamed f a b"}));
  EXPECT_EQ(report(records().add(new_name, L"z"), L"g"), (Calls{L"renamed g y z"}));
}

TEST_F(ChangeReporter, KeepsAHalfWhileNothingIsReported) {
  EXPECT_EQ(report(records().add(old_name, L"a")), Calls{});
  reporter.report(L"f", directory_changes_iterator());
  EXPECT_EQ(report(records().add(new_name, L"b")), (Calls{L"renamed f a b"}));
}

TEST_F(ChangeReporter, SkipsActionsItDoesNotKnow) {
  EXPECT_EQ(report(records().add(0, L"a").add(6, L"b").add(modified, L"c").add(4000000000, L"d")),
            (Calls{L"modified f c"}));
}

}  // namespace
