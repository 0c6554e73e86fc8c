#pragma once

#include <string_view>

/// Told of changes in watched folders, on the watcher's one thread, one call at a time. `folder` is
/// as it was given to the watcher. A name is relative to it, not terminated, and valid during the
/// call only. Calls may come twice or not at all when much happens at once; an observer that stays
/// long makes that likelier. It must not destroy the watcher.
class idirectories_observer {
 public:
  virtual void on_created(const wchar_t* folder, std::wstring_view name) = 0;
  virtual void on_removed(const wchar_t* folder, std::wstring_view name) = 0;
  virtual void on_modified(const wchar_t* folder, std::wstring_view name) = 0;
  virtual void on_renamed(const wchar_t* folder, std::wstring_view old_name,
                          std::wstring_view new_name) = 0;

 protected:
  ~idirectories_observer() = default;
};
