#pragma once

/// An auto-reset event; nobody has set it yet when it is new. Refusals of the system are thrown in
/// the category "win_error": "CreateEvent failed" by the constructor, "SetEvent failed" by Set.
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
