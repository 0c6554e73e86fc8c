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
/// that never polls. A folder that can't be opened when that thread begins is logged and never
/// watched, even if it appears later. At most 63 folders.
class directories_changes {
 public:
  /// Returns before the folders are open. `observer` is not owned and must outlive this object.
  /// Throws std::system_error: "CreateEvent failed" in the category "win_error", or
  /// resource_unavailable_try_again without a thread.
  directories_changes(idirectories_observer* observer, std::vector<std::wstring> folders,
                      std::uint32_t filter);
  directories_changes(const directories_changes&) = delete;
  directories_changes& operator=(const directories_changes&) = delete;
  /// No observer call runs after it. Throws (which ends the process where a smart pointer owns it) std::system_error "SetEvent failed", and
  /// resource_deadlock_would_occur on the watcher's own thread.
  ~directories_changes() noexcept(false);

 private:
  class watch_worker;

  std::unique_ptr<watch_worker> worker_;
};

}  // namespace winapi::directory_mgmt
