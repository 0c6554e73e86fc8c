#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "_base/directory_mgmt/change_reporter.h"
#include "_base/directory_mgmt/idirectories_observer.h"

namespace winapi::directory_mgmt {

/// Windows' notification filter, as directories_changes takes it.
namespace notify {
inline constexpr std::uint32_t file_name = 0x1;
inline constexpr std::uint32_t dir_name = 0x2;
inline constexpr std::uint32_t last_write = 0x10;
inline constexpr std::uint32_t creation = 0x40;
}  // namespace notify

/// Watches folders from its construction to its end, subfolders left out, on one thread of its own
/// that never polls. A folder that can't be opened when that thread begins is logged and left out
/// for good. So is, with error 50, each one beyond 63 that are open. A folder that is open but gets
/// no event ends the process: "CreateEvent failed" is thrown on that thread.
class directories_changes {
 public:
  /// Returns before the folders are open. `observer` is not owned and must outlive this object.
  /// Throws std::system_error: "CreateEvent failed" in the category "win_error", or
  /// resource_unavailable_try_again without a thread. A lack of memory shows here too, by
  /// std::bad_alloc: on its thread the watcher only ever loses a folder by it, or a call.
  directories_changes(idirectories_observer* observer, std::vector<std::wstring> folders,
                      std::uint32_t filter);
  directories_changes(const directories_changes&) = delete;
  directories_changes& operator=(const directories_changes&) = delete;
  /// No observer call runs after it. Throws std::system_error: "SetEvent failed", and
  /// resource_deadlock_would_occur on the watcher's own thread. Owned by a smart pointer it ends
  /// the process instead.
  ~directories_changes() noexcept(false);

 private:
  class watch_worker;

  std::unique_ptr<watch_worker> worker_;
};

}  // namespace winapi::directory_mgmt
