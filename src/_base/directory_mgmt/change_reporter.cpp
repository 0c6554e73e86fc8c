#include "_base/directory_mgmt/change_reporter.h"

#include <new>
#include <utility>

namespace winapi::directory_mgmt {

void change_reporter::report(const wchar_t* folder, directory_changes_iterator records) {
  if (records.at_end()) return;
  if (const auto waiting = pending_.find(folder); waiting != pending_.end() && waiting->second) {
    complete_rename(folder, *std::exchange(waiting->second, std::nullopt), *records);
    ++records;
  }
  for (; !records.at_end(); ++records) {
    const directory_changes_iterator::entry change = *records;
    switch (change.action) {
      case platform::change_added:
        observer_->on_created(folder, change.name);
        break;
      case platform::change_removed:
        observer_->on_removed(folder, change.name);
        break;
      case platform::change_modified:
        observer_->on_modified(folder, change.name);
        break;
      case platform::change_renamed_old_name:
      case platform::change_renamed_new_name:
        ++records;
        if (records.at_end()) {
          keep(folder, change);
          return;
        }
        // Whatever the second record tells, it is meant to be the other half: within a buffer the
        // two always stand side by side.
        report_rename(folder, change.action, change.name, records->name);
        break;
      default:
        // Also what a buffer holds before anything was ever written to it.
        break;
    }
  }
}

void change_reporter::keep(const wchar_t* folder, const directory_changes_iterator::entry& change) {
  try {
    pending_.insert_or_assign(folder, rename_half{std::wstring(change.name), change.action});
  } catch (const std::bad_alloc&) {
    // Observers must do without some calls anyway, and the watcher's thread must not end by this.
  }
}

// Another record than the missing half is dropped, which is meant: that takes a half as a buffer's
// last record whose other half never came.
void change_reporter::complete_rename(const wchar_t* folder, const rename_half& half,
                                      const directory_changes_iterator::entry& change) {
  const std::uint32_t missing = half.action == platform::change_renamed_old_name
                                    ? platform::change_renamed_new_name
                                    : platform::change_renamed_old_name;
  if (change.action == missing) report_rename(folder, half.action, half.name, change.name);
}

void change_reporter::report_rename(const wchar_t* folder, std::uint32_t first_action,
                                    std::wstring_view first, std::wstring_view second) {
  if (first_action == platform::change_renamed_old_name) {
    observer_->on_renamed(folder, first, second);
  } else {
    observer_->on_renamed(folder, second, first);
  }
}

}  // namespace winapi::directory_mgmt
