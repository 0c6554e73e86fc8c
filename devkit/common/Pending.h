#pragma once

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace devkit {

/// What waits under a name for somebody to take it. Nobody may ever: of more than so many the
/// oldest are forgotten.
template <class Value>
class Pending {
 public:
  explicit Pending(std::size_t most = 10'000) : most_(most) {}
  Pending(const Pending&) = delete;
  Pending& operator=(const Pending&) = delete;
  ~Pending() = default;

  /// As the newest, in the place of one that has the name.
  void put(const std::string& name, Value value) {
    take(name);
    entries_.emplace_back(name, std::move(value));
    by_name_[name] = std::prev(entries_.end());
    if (entries_.size() > most_) take(entries_.front().first);
  }
  /// Null if there is none; valid up to the next change.
  const Value* find(const std::string& name) const {
    const auto found = by_name_.find(name);
    return found != by_name_.end() ? &found->second->second : nullptr;
  }
  std::optional<Value> take(const std::string& name) {
    const auto found = by_name_.find(name);
    if (found == by_name_.end()) return std::nullopt;
    std::optional<Value> value = std::move(found->second->second);
    const auto entry = found->second;
    // The name may be the entry's own.
    by_name_.erase(found);
    entries_.erase(entry);
    return value;
  }

 private:
  using Entries = std::list<std::pair<std::string, Value>>;

  const std::size_t most_;
  Entries entries_;  ///< the oldest first
  std::map<std::string, typename Entries::iterator> by_name_;
};

}  // namespace devkit
