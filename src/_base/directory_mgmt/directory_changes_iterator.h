#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/directory_changes.h"

namespace winapi::directory_mgmt {

/// Walks the change records in one buffer, without copying. It never leaves the buffer: a record
/// that would reach beyond it ends the walk.
class directory_changes_iterator {
 public:
  struct entry {
    std::uint32_t action = 0;  ///< a platform::change_action, or any other number
    std::wstring_view name;    ///< points into the buffer
  };

  /// The end.
  directory_changes_iterator() noexcept = default;
  /// On the first record of `size` bytes at `buffer`, which is aligned to 4.
  directory_changes_iterator(const void* buffer, std::size_t size) noexcept;

  const entry& operator*() const noexcept { return current_; }
  const entry* operator->() const noexcept { return &current_; }
  directory_changes_iterator& operator++() noexcept;

  bool at_end() const noexcept { return record_ == nullptr; }
  friend bool operator==(const directory_changes_iterator& a,
                         const directory_changes_iterator& b) noexcept {
    return a.record_ == b.record_ && a.index_ == b.index_;
  }

 private:
  void go_to(const unsigned char* record) noexcept;

  const unsigned char* record_ = nullptr;  ///< null at the end
  const unsigned char* buffer_end_ = nullptr;
  int index_ = -1;  ///< -1 at the end
  entry current_;
};

}  // namespace winapi::directory_mgmt
