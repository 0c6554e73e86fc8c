#pragma once

#include <memory>

/// Owner of an auto-reset event, created unsignalled. Construction throws std::system_error in the
/// category "win_error" with the text "CreateEvent failed"; Set throws it with "SetEvent failed".
class Event {
 public:
  Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event();

  void Set();
  /// The platform's handle, for a wait.
  void* handle() const noexcept { return handle_; }

 private:
  void* handle_ = nullptr;
};
