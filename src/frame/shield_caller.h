#pragma once

#include <new>
#include <utility>

/// Runs `call` for a component of others, which couldn't bear an exception: where memory runs out
/// the rest of it doesn't happen. False then.
template <class Call>
bool shield_caller(Call&& call) {
  try {
    std::forward<Call>(call)();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}
