#include "devkit/zvnc/PushRegistrations.h"

#include <algorithm>

namespace zvnc {

namespace {

bool are_same(const cirrel_push_callbacks& one, const cirrel_push_callbacks& other) {
  return one.on_done == other.on_done && one.on_event == other.on_event &&
         one.context == other.context;
}

}  // namespace

std::uint64_t PushRegistrations::add(const PushTarget& target,
                                     const cirrel_push_callbacks& callbacks,
                                     const std::string& token) {
  const std::lock_guard guard(mutex_);
  registrations_.push_back({target, callbacks, token, last_number_ + 1});
  return ++last_number_;
}

void PushRegistrations::confirm(std::uint64_t number) {
  const std::lock_guard guard(mutex_);
  const auto found = std::find_if(registrations_.begin(), registrations_.end(),
                                  [&](const Registration& one) { return one.number == number; });
  // A newer one of the same may have taken its place already.
  if (found == registrations_.end()) return;
  const Registration confirmed = *found;
  std::erase_if(registrations_, [&](const Registration& one) {
    return one.number < number && one.target == confirmed.target &&
           are_same(one.callbacks, confirmed.callbacks);
  });
}

void PushRegistrations::take_back(std::uint64_t number) {
  const std::lock_guard guard(mutex_);
  std::erase_if(registrations_, [&](const Registration& one) { return one.number == number; });
}

std::vector<PushRegistrations::Registration> PushRegistrations::list(std::uint64_t after) const {
  const std::lock_guard guard(mutex_);
  std::vector<Registration> list;
  std::copy_if(registrations_.begin(), registrations_.end(), std::back_inserter(list),
               [&](const Registration& one) { return one.number > after; });
  return list;
}

std::vector<cirrel_push_callbacks> PushRegistrations::callbacks(const PushTarget& target) const {
  const std::lock_guard guard(mutex_);
  std::vector<cirrel_push_callbacks> callbacks;
  for (const Registration& one : registrations_) {
    const bool is_meant = target.app_id.empty() || one.target == target;
    const bool is_new = std::none_of(callbacks.begin(), callbacks.end(), [&](const auto& other) {
      return are_same(one.callbacks, other);
    });
    if (is_meant && is_new) callbacks.push_back(one.callbacks);
  }
  return callbacks;
}

}  // namespace zvnc
