// What holds a day of pushes against its model is worth nothing if the model doesn't see what is
// wrong: here it gets forged records of days.

#include <gmock/gmock.h>

#include "support/PushDayModel.h"

namespace {

using nlohmann::json;
using support::PushDayModel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = PushDayModel::Kind;

constexpr const char* product = "Desktop";
constexpr const char* device = "device-1";

PushDayModel::Push event(const std::string& key, const std::string& app) {
  return {key, false, app, device, "greeting", {{"day", key}}};
}

PushDayModel::Push command(const std::string& key, const std::string& app) {
  return {key, true, app, device, "scan", {{"n", 1}}};
}

json event_line(const std::string& key, const std::string& app) {
  return {{"event", "greeting"},
          {"params", {{"day", key}}},
          {"app_id", app},
          {"device_id", device},
          {"timestamp", 1}};
}

json command_line(const std::string& id, const std::string& app, bool again = false) {
  return {{"command", "scan"}, {"id", id},       {"params", {{"n", 1}}}, {"app_id", app},
          {"timestamp", 1},    {"again", again}, {"completed", false}};
}

json row(const std::string& id, int completions, const std::string& status) {
  return {{"command_id", id},
          {"completions", completions},
          {"status", status},
          {"by_app_id", product},
          {"by_device_id", device}};
}

/// Two processes of "notes" and one of "mail" that hear everything, and all is settled.
class PushDay : public testing::Test {
 protected:
  PushDay() {
    day.starts_server();
    for (const auto& [process, app] :
         {std::pair{"notes#1", "notes"}, {"notes#2", "notes"}, {"mail#1", "mail"}}) {
      day.begins(process, app, true, true);
      day.says(process, {{"ready", {{"app", app}}}});
    }
    show_ends_of_replays();
    day.settles();
  }

  void show_ends_of_replays() {
    for (const auto& [process, app] :
         {std::pair{"notes#1", "notes"}, {"notes#2", "notes"}, {"mail#1", "mail"}}) {
      const std::string probe = std::string("probe of ") + process;
      day.pushes(command(probe, app));
      day.says(process, command_line(probe, app));
      day.completes(process, probe, "done");
      day.asks_for_list(process);
      day.says(process, {{"pending", json::array()}});
      ASSERT_TRUE(day.has_replayed(process));
    }
  }
  void all_get(const std::string& id) {
    for (const char* const process : {"notes#1", "notes#2"})
      day.says(process, command_line(id, "notes"));
  }
  void all_list(const json& ids) {
    for (const char* const process : {"notes#1", "notes#2", "mail#1"}) {
      day.asks_for_list(process);
      day.says(process, {{"pending", ids}});
    }
  }
  void expect_fault(const std::string& words) {
    EXPECT_THAT(day.faults(), ElementsAre(HasSubstr(words)));
  }

  PushDayModel day{product, device};
};

TEST_F(PushDay, IsGoodWhenEachGetsHisOwnOnce) {
  day.pushes(event("e1", "notes"));
  EXPECT_EQ(day.owed().size(), 2u);
  day.says("notes#1", event_line("e1", "notes"));
  day.says("notes#2", event_line("e1", "notes"));
  EXPECT_THAT(day.owed(), IsEmpty());
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(PushDay, SeesALoss) {
  day.pushes(event("e1", "notes"));
  day.says("notes#1", event_line("e1", "notes"));
  EXPECT_THAT(day.owed(), ElementsAre("notes#2 hasn't got the event e1"));
  day.pushes(command("c1", "mail"));
  EXPECT_THAT(day.owed(), testing::Contains("mail#1 hasn't got the command c1"));
}

TEST_F(PushDay, ForgivesALossInAnUnsettledTime) {
  day.pushes(event("e1", "notes"));
  day.unsettles();
  day.pushes(event("e2", "notes"));
  EXPECT_THAT(day.owed(), IsEmpty());
  day.says("notes#1", event_line("e2", "notes"));
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(PushDay, SeesAnEventThatComesTwice) {
  day.pushes(event("e1", "mail"));
  day.says("mail#1", event_line("e1", "mail"));
  day.says("mail#1", event_line("e1", "mail"));
  expect_fault("mail#1 got an event twice");
}

TEST_F(PushDay, BearsARepetitionOnlyIfTheBrokerEndedBehindThePush) {
  day.pushes(event("e1", "mail"));
  day.settles();
  day.pushes(event("e2", "mail"));
  day.kills_broker();
  for (const char* const key : {"e1", "e2", "e2"}) day.says("mail#1", event_line(key, "mail"));
  EXPECT_THAT(day.faults(), IsEmpty());
  day.says("mail#1", event_line("e1", "mail"));
  expect_fault("mail#1 got an event twice");
}

TEST_F(PushDay, SeesAnEventAtSomebodyElses) {
  day.pushes(event("e1", "notes"));
  day.says("mail#1", event_line("e1", "notes"));
  expect_fault("mail#1 got the event of somebody else");
}

TEST_F(PushDay, SeesAnEventThatChangedItsName) {
  day.pushes(event("e1", "notes"));
  day.says("mail#1", event_line("e1", "mail"));
  expect_fault("mail#1 got the event of somebody else");
}

TEST_F(PushDay, SeesAnEventOfAnotherDevice) {
  PushDayModel::Push push = event("e1", "mail");
  push.device = "device-2";
  day.pushes(push);
  EXPECT_THAT(day.owed(), IsEmpty());
  day.says("mail#1", event_line("e1", "mail"));
  expect_fault("mail#1 got the event of somebody else");
}

TEST_F(PushDay, SeesWhatShouldHaveBeenDropped) {
  PushDayModel::Push push = event("e1", "mail");
  push.is_heard = false;
  day.pushes(push);
  EXPECT_THAT(day.owed(), IsEmpty());
  day.says("mail#1", event_line("e1", "mail"));
  expect_fault("mail#1 got the event of somebody else");
}

TEST_F(PushDay, SeesWhatNobodySent) {
  day.says("mail#1", event_line("e9", "mail"));
  expect_fault("mail#1 got an event that nobody sent");
}

TEST_F(PushDay, SeesADifferentContent) {
  day.pushes(event("e1", "mail"));
  json line = event_line("e1", "mail");
  line["params"]["more"] = true;
  day.says("mail#1", line);
  expect_fault("mail#1 got something else than was sent");
}

TEST_F(PushDay, SeesAnEventAfterTheLastListenerLeft) {
  day.wants("mail#1", Kind::events, false);
  day.pushes(event("e1", "mail"));
  EXPECT_THAT(day.owed(), IsEmpty());
  day.says("mail#1", event_line("e1", "mail"));
  EXPECT_THAT(day.faults(), IsEmpty()) << "it may have been on its way";
  day.says("mail#1", {{"did", "events off"}});
  day.pushes(event("e2", "mail"));
  day.says("mail#1", event_line("e2", "mail"));
  expect_fault("mail#1 got an event without listening");
}

TEST_F(PushDay, AllowsACommandToComeAgain) {
  day.pushes(command("c1", "mail"));
  day.says("mail#1", command_line("c1", "mail"));
  day.says("mail#1", command_line("c1", "mail", true));
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(PushDay, SeesACommandAtSomebodyElses) {
  day.pushes(command("c1", "notes"));
  day.says("mail#1", command_line("c1", "notes"));
  expect_fault("mail#1 got the command of somebody else");
}

TEST_F(PushDay, ShowsACommandOfOthersOnlyToWhomBeginsToListen) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  day.wants("mail#1", Kind::commands, false);
  day.says("mail#1", {{"did", "commands off"}});
  day.wants("mail#1", Kind::commands, true);
  day.says("mail#1", command_line("c1", "notes"));
  day.says("mail#1", {{"did", "commands on"}});
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(PushDay, SeesACommandUnderAWrongName) {
  day.pushes(command("c1", "notes"));
  day.says("mail#1", command_line("c1", "mail"));
  expect_fault("mail#1 got a command in a wrong name");
}

TEST_F(PushDay, AllowsTheProductsCommandUnderAnotherName) {
  day.pushes(command("c1", product));
  day.says("mail#1", command_line("c1", "mail"));
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(PushDay, SeesAListWithoutACommandThatCame) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  day.asks_for_list("notes#1");
  day.says("notes#1", {{"pending", json::array()}});
  expect_fault("notes#1 has lost a command from its list: c1");
}

TEST_F(PushDay, WantsEachListToHaveTheCommandsOfAll) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  EXPECT_TRUE(day.is_owed_in_list("mail#1"));
  all_list({"c1"});
  EXPECT_FALSE(day.is_owed_in_list("mail#1"));
  EXPECT_THAT(day.owed(), IsEmpty());
}

TEST_F(PushDay, WantsNothingInOtherListsOnceTheLastOneMayHaveLeft) {
  day.pushes(command("c1", "notes"));
  day.pushes(command("c2", "mail"));
  day.wants("mail#1", Kind::commands, false);
  EXPECT_THAT(day.owed(), testing::Contains("notes#1 doesn't hold the command c1"));
  EXPECT_THAT(day.owed(), testing::Not(testing::Contains(HasSubstr("c2"))));
}

TEST_F(PushDay, SeesACommandTwiceInAList) {
  day.pushes(command("c1", "notes"));
  day.asks_for_list("mail#1");
  day.says("mail#1", {{"pending", {"c1", "c1"}}});
  expect_fault("mail#1 holds a command twice: c1");
}

TEST_F(PushDay, SeesAListThatKeepsACompletedCommand) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  all_list({"c1"});
  day.completes("notes#1", "c1", "fine");
  day.shows({row("c1", 1, "fine"), row("probe of notes#1", 0, ""), row("probe of notes#2", 0, ""),
             row("probe of mail#1", 0, "")});
  EXPECT_THAT(day.owed(), ElementsAre("notes#1 still holds the completed command c1"));
}

TEST_F(PushDay, BearsACompletedCommandThatComesBackToOneWhoDoesNotListen) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  all_list({"c1"});
  day.wants("notes#1", Kind::commands, false);
  day.says("notes#1", {{"did", "commands off"}});
  day.completes("notes#1", "c1", "fine");
  day.shows({row("c1", 1, "fine"), row("probe of notes#1", 0, ""), row("probe of notes#2", 0, ""),
             row("probe of mail#1", 0, "")});
  EXPECT_THAT(day.owed(), testing::Not(testing::Contains(HasSubstr("still holds"))));
}

TEST_F(PushDay, SeesARepetitionThatIsMissing) {
  day.pushes(command("c1", "notes"));
  all_get("c1");
  day.wants("notes#1", Kind::commands, false);
  day.says("notes#1", {{"did", "commands off"}});
  day.wants("notes#1", Kind::commands, true);
  day.says("notes#1", {{"did", "commands on"}});
  EXPECT_THAT(day.owed(), testing::Contains("notes#1 wasn't shown again the command c1"));
  day.says("notes#1", command_line("c1", "notes", true));
  EXPECT_THAT(day.owed(), testing::Not(testing::Contains(HasSubstr("notes#1"))));
}

/// What the cloud's table says of a command that was settled.
class CloudsTable : public PushDay {
 protected:
  CloudsTable() {
    day.pushes(command("c1", "notes"));
    all_get("c1");
    all_list({"c1"});
  }
  void show(const json& line) {
    day.shows({line, row("probe of notes#1", 0, ""), row("probe of notes#2", 0, ""),
               row("probe of mail#1", 0, "")});
  }
};

TEST_F(CloudsTable, HasToShowACompletion) {
  day.completes("notes#1", "c1", "fine");
  show(row("c1", 0, ""));
  EXPECT_TRUE(day.is_owed_in_table());
  EXPECT_THAT(day.owed(),
              testing::Contains("the cloud doesn't know that this command is done: c1"));
  show(row("c1", 1, "fine"));
  EXPECT_FALSE(day.is_owed_in_table());
  EXPECT_TRUE(day.is_completed("c1"));
  EXPECT_THAT(day.faults(), IsEmpty());
}

TEST_F(CloudsTable, OwesNothingForWhatCameUnderAnotherNameOnly) {
  day.begins("Desktop#1", product, true, true);
  day.says("Desktop#1", {{"ready", {{"app", product}}}});
  day.pushes(command("c2", product));
  day.settles();
  day.asks_for_list("Desktop#1");
  day.says("Desktop#1", {{"pending", {"c2"}}});
  day.completes("Desktop#1", "c2", "fine");
  EXPECT_FALSE(day.is_owed_in_table());
}

TEST_F(CloudsTable, OwesNothingForACompletionInAnUnsettledTime) {
  day.completes("notes#1", "c1", "fine");
  day.unsettles();
  EXPECT_FALSE(day.is_owed_in_table());
}

TEST_F(CloudsTable, OwesNothingForACompletionThatItsProcessTookAlong) {
  day.completes("notes#1", "c1", "fine");
  day.ends("notes#1");
  EXPECT_FALSE(day.is_owed_in_table());
}

TEST_F(CloudsTable, MustNotShowACompletionThatNobodySaid) {
  show(row("c1", 1, ""));
  EXPECT_THAT(day.faults(), testing::Contains(HasSubstr("more often than said")));
}

TEST_F(CloudsTable, MustNotShowACompletionBySomebodyElse) {
  day.completes("mail#1", "c1", "fine");
  show(row("c1", 1, "fine"));
  EXPECT_THAT(day.faults(), testing::Contains(HasSubstr("more often than said")));
}

TEST_F(CloudsTable, ShowsOneCompletionHoweverManySayIt) {
  day.completes("notes#1", "c1", "fine");
  day.completes("notes#2", "c1", "well");
  show(row("c1", 2, "well"));
  expect_fault("more often than sent");
}

TEST_F(CloudsTable, ShowsTheWordsOfOneWhoSaidIt) {
  day.completes("notes#1", "c1", "fine");
  show(row("c1", 1, "bad"));
  expect_fault("in words that nobody said");
}

TEST_F(CloudsTable, ShowsCompletionsInTheProductsName) {
  day.completes("notes#1", "c1", "fine");
  json line = row("c1", 1, "fine");
  line["by_app_id"] = "notes";
  show(line);
  expect_fault("in a wrong name");
}

TEST_F(CloudsTable, MustNotForgetACommand) {
  day.shows(json::array());
  EXPECT_THAT(day.faults(), testing::Contains("the cloud has forgotten the command c1"));
}

}  // namespace
