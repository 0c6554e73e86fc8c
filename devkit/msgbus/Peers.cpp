#include "devkit/msgbus/Peers.h"

#include <algorithm>
#include <iterator>

namespace devkit::bus {

namespace {

void add_difference(const std::vector<Listener>& from, const std::vector<Listener>& without,
                    bool added, Peers::Changes& changes) {
  std::vector<Listener> difference;
  std::set_difference(from.begin(), from.end(), without.begin(), without.end(),
                      std::back_inserter(difference));
  for (Listener& listener : difference) changes.push_back({added, std::move(listener)});
}

}  // namespace

Peers::Changes Peers::update(std::string_view process, const std::optional<PresenceNote>& note) {
  std::vector<Listener> after = note ? note->listeners : std::vector<Listener>();
  std::sort(after.begin(), after.end());

  const auto found = peers_.find(process);
  const std::vector<Listener> before =
      found != peers_.end() ? std::move(found->second.listeners) : std::vector<Listener>();
  Changes changes;
  Changes added;
  add_difference(before, after, false, changes);
  add_difference(after, before, true, added);

  if (note) {
    peers_.insert_or_assign(std::string(process), Peer{std::move(after), false});
  } else if (found != peers_.end()) {
    peers_.erase(found);
  }
  for (ListenerChange& change : added) {
    give_up(change.listener, changes);
    changes.push_back(std::move(change));
  }
  return changes;
}

void Peers::give_up(const Listener& listener, Changes& changes) {
  for (auto& [process, peer] : peers_) {
    if (!peer.doubtful) continue;
    const auto count = std::erase(peer.listeners, listener);
    changes.insert(changes.end(), count, {false, listener});
  }
}

void Peers::doubt_all() {
  for (auto& [process, peer] : peers_) peer.doubtful = true;
}

bool Peers::has_doubts() const {
  return std::any_of(peers_.begin(), peers_.end(),
                     [](const auto& entry) { return entry.second.doubtful; });
}

Peers::Changes Peers::drop_doubtful() {
  Changes changes;
  for (auto peer = peers_.begin(); peer != peers_.end();) {
    if (!peer->second.doubtful) {
      ++peer;
      continue;
    }
    for (Listener& listener : peer->second.listeners)
      changes.push_back({false, std::move(listener)});
    peer = peers_.erase(peer);
  }
  return changes;
}

bool Peers::is_listening(const Listener& listener, std::string_view except) const {
  return std::any_of(peers_.begin(), peers_.end(), [&](const auto& entry) {
    const std::vector<Listener>& all = entry.second.listeners;
    return entry.first != except && std::binary_search(all.begin(), all.end(), listener);
  });
}

}  // namespace devkit::bus
