#pragma once

namespace cloud::push {

/// Who wants to be called. The context is the caller's own and never looked at.
template <class Callback>
struct callback_entry {
  Callback callback;
  void* context;

  friend bool operator==(const callback_entry&, const callback_entry&) = default;
};

}  // namespace cloud::push
