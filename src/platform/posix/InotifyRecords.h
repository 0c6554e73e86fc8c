#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

struct inotify_event;

namespace platform {

/// Turns a folder's inotify events into Windows' change records. Keeps what doesn't fit into one
/// buffer for the next.
class InotifyRecords {
 public:
  explicit InotifyRecords(std::uint32_t filter) : filter_(filter) {}

  /// What has to be watched for so that `filter`, Windows' notification filter, is served.
  static std::uint32_t mask_of(std::uint32_t filter) noexcept;

  /// Takes over `size` bytes of whole events. Gives back true if the last one is the first half of
  /// a rename, whose other half may be on its way: then more should be awaited a little.
  bool take(const char* events, std::size_t size);
  /// No more is on its way: a half rename left over is a removal.
  void settle();

  bool empty() const noexcept { return records_.empty(); }
  /// The folder is gone, and nothing more will come.
  bool ended() const noexcept { return ended_; }

  /// Moves as many records as fit into `buffer`. Leaves it untouched when the next thing to tell is
  /// that changes were lost.
  void fill(void* buffer, std::uint32_t size);

 private:
  struct Record {
    std::uint32_t action;  ///< 0: changes were lost here
    std::wstring name;
    std::uint32_t cookie = 0;  ///< of a removal that may become the first half of a rename
  };

  void take_one(const inotify_event& event);
  void pair_with_removal(const inotify_event& event, std::wstring name);
  void lose_changes() { records_.push_back({0, {}}); }
  bool wanted(const inotify_event& event) const noexcept;

  std::uint32_t filter_;
  bool ended_ = false;
  std::deque<Record> records_;
};

}  // namespace platform
