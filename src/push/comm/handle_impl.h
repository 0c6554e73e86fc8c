#pragma once

#include <utility>

#include "push/comm/bus_subscription.h"
#include "push/comm/handle.h"

namespace cloud::comm::detail {

/// The handle itself is the context that the bus gets, so it must not move.
template <class F>
class handle_impl final : public handle<F> {
 public:
  handle_impl(F* callback, void* context) noexcept : callback_(callback), context_(context) {}

  void keep(bus_subscription subscription) noexcept { subscription_ = std::move(subscription); }

  template <class... Arguments>
  auto operator()(Arguments&... arguments) const {
    return callback_(arguments..., context_);
  }

 private:
  F* const callback_;
  void* const context_;
  bus_subscription subscription_;  ///< last, so that it is the first to end
};

}  // namespace cloud::comm::detail
