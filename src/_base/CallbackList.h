#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "_base/CSyncRWLock.h"
#include "_base/win_error.h"

namespace zv {

/// Observers in the order of their coming. An observer is called with read locks held, so it must
/// not add or remove on the same list: CSyncRWLock has no upgrade.
template <class T>
class CallbackList {
 public:
  /// 0, or 183 if the observer is there already, whatever its context.
  std::uint32_t add(T observer, std::uint64_t context) {
    auto entry = std::make_unique<Entry>(observer, context);
    const WriteHolder holder(lock_);
    for (const auto& known : entries_) {
      const ReadHolder entry_holder(known->lock);
      if (known->observer == observer && known->active) return win_error::already_exists;
    }
    entries_.push_back(std::move(entry));
    return win_error::success;
  }

  /// 0, or 1168 unless both the observer and its context match: stricter than add, and meant so.
  std::uint32_t remove(T observer, std::uint64_t context) {
    const WriteHolder holder(lock_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
      return entry->observer == observer && entry->context == context && entry->active;
    });
    if (found == entries_.end()) return win_error::not_found;
    entries_.erase(found);
    return win_error::success;
  }

  /// Calls `call(observer)` for each active entry. An exception passes through, the locks being
  /// released in reverse order.
  template <class Call>
  void notify(Call&& call) {
    const ReadHolder holder(lock_);
    for (const auto& entry : entries_) {
      const ReadHolder entry_holder(entry->lock);
      if (entry->active) call(entry->observer);
    }
  }

 private:
  struct Entry {
    Entry(T the_observer, std::uint64_t the_context)
        : observer(the_observer), context(the_context) {}

    T observer;
    std::uint64_t context;
    CSyncRWLock lock;
    bool active = true;  ///< meant, though nothing clears it yet: an entry says if it is in use
  };

  std::vector<std::unique_ptr<Entry>> entries_;
  CSyncRWLock lock_;
};

}  // namespace zv
