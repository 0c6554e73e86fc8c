#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devkit/msgbus/PresenceNote.h"

namespace devkit::bus {

/// A listener that came or went.
struct ListenerChange {
  bool added;
  Listener listener;
};

/// Who is on the bus, and what they announce: a listener counts as often as it was announced. Used
/// under its owner's lock.
class Peers {
 public:
  using Changes = std::vector<ListenerChange>;

  /// The process's latest word; null: it is gone. What it gives up comes before what it adds; and
  /// what it adds takes the place of a doubtful process's, which goes first: told the other way
  /// round, somebody who looks for a name would take the newcomer's for gone.
  Changes update(std::string_view process, const std::optional<PresenceNote>& note);

  /// The broker is gone, and with it what it kept: each has to be heard of again.
  void doubt_all();
  bool has_doubts() const;
  /// Those that weren't are gone.
  Changes drop_doubtful();

  /// In a process other than `except`.
  bool is_listening(const Listener& listener, std::string_view except) const;

 private:
  /// Takes `listener` from all that are doubtful.
  void give_up(const Listener& listener, Changes& changes);

  struct Peer {
    std::vector<Listener> listeners;  ///< sorted
    bool doubtful = false;
  };

  std::map<std::string, Peer, std::less<>> peers_;
};

}  // namespace devkit::bus
