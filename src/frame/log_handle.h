#pragma once

#include <cstdint>

#include "frame/CLogDLL.h"

namespace logging {

/// A share in the binding: logging is on while at least one is held, by any part of the module.
/// Plug-in objects hold one for life, so that pool threads may log through a teardown. Any thread
/// may acquire; a handle itself belongs to one thread at a time.
class log_handle {
 public:
  log_handle() noexcept = default;
  log_handle(const log_handle&) = delete;
  log_handle& operator=(const log_handle&) = delete;
  ~log_handle() { Release(); }

  /// Turns logging on if nobody else has.
  void Acquire();
  /// Gives every count of this handle back; the last one of all destroys the binding.
  void Release();

  /// Valid while the handle holds a count.
  const CLogDLL* binding() const noexcept { return binding_; }

 private:
  CLogDLL* binding_ = nullptr;
  std::uint32_t count_ = 0;
};

/// A handle acquired at construction.
class held_log_handle : public log_handle {
 public:
  held_log_handle() { Acquire(); }
};

}  // namespace logging
