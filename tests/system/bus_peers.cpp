#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "devkit/msgbus/Peers.h"

namespace kit_test {

namespace {

using devkit::bus::Listener;
using devkit::bus::Peers;
using devkit::bus::PresenceNote;
using Lines = std::vector<std::string>;

const Listener listener{"connect.actions", "push_register"};
const Listener other{"connect.events", "push_client"};

PresenceNote note(std::vector<Listener> listeners) {
  PresenceNote result;
  result.listeners = std::move(listeners);
  return result;
}

Lines told(const Peers::Changes& changes) {
  Lines lines;
  for (const devkit::bus::ListenerChange& change : changes)
    lines.push_back((change.added ? "+" : "-") + change.listener.name);
  return lines;
}

TEST(BusPeers, AreToldByWhatChanges) {
  Peers peers;
  EXPECT_EQ(told(peers.update("a", note({listener}))), Lines{"+push_register"});
  EXPECT_EQ(told(peers.update("a", note({other}))), (Lines{"-push_register", "+push_client"}));
  EXPECT_EQ(told(peers.update("b", note({other}))), Lines{"+push_client"});
  EXPECT_EQ(told(peers.update("a", std::nullopt)), Lines{"-push_client"});
  EXPECT_TRUE(peers.is_listening(other, "a"));
  EXPECT_FALSE(peers.is_listening(other, "b"));
}

TEST(BusPeers, ComeBackFromDoubtWithoutANewAnnouncement) {
  Peers peers;
  peers.update("a", note({listener}));
  peers.doubt_all();
  EXPECT_TRUE(peers.has_doubts());
  EXPECT_EQ(told(peers.update("a", note({listener}))), Lines{});
  EXPECT_FALSE(peers.has_doubts());
  EXPECT_EQ(told(peers.drop_doubtful()), Lines{});
}

TEST(BusPeers, InDoubtGiveTheirListenersUpToANewcomerFirst) {
  Peers peers;
  peers.update("old", note({listener, listener, other}));
  peers.doubt_all();
  EXPECT_EQ(told(peers.update("new", note({listener}))),
            (Lines{"-push_register", "-push_register", "+push_register"}));
  EXPECT_TRUE(peers.has_doubts());
  EXPECT_EQ(told(peers.drop_doubtful()), Lines{"-push_client"});
  EXPECT_TRUE(peers.is_listening(listener, "old"));
}

TEST(BusPeers, ThatComeBackAfterANewcomerAreToldAnew) {
  Peers peers;
  peers.update("old", note({listener}));
  peers.doubt_all();
  peers.update("new", note({listener}));
  EXPECT_EQ(told(peers.update("old", note({listener}))), Lines{"+push_register"});
  EXPECT_EQ(told(peers.update("new", std::nullopt)), Lines{"-push_register"});
  EXPECT_TRUE(peers.is_listening(listener, "new"));
}

TEST(BusPeers, WithoutDoubtKeepTheirListenersBesideANewcomer) {
  Peers peers;
  peers.update("old", note({listener}));
  EXPECT_EQ(told(peers.update("new", note({listener}))), Lines{"+push_register"});
  EXPECT_EQ(told(peers.update("old", std::nullopt)), Lines{"-push_register"});
}

}  // namespace

}  // namespace kit_test
