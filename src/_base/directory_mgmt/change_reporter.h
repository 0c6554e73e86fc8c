#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "_base/directory_mgmt/directory_changes_iterator.h"
#include "_base/directory_mgmt/idirectories_observer.h"

namespace winapi::directory_mgmt {

/// Turns change records into an observer's calls, and the two halves of a rename into one, also
/// when they come in two buffers, unless memory for the first is missing. One thread at a time.
class change_reporter {
 public:
  /// `observer` is not owned.
  explicit change_reporter(idirectories_observer* observer) noexcept : observer_(observer) {}

  void report(const wchar_t* folder, directory_changes_iterator records);

 private:
  struct rename_half {
    std::wstring name;
    std::uint32_t action;
  };

  void keep(const wchar_t* folder, const directory_changes_iterator::entry& change);
  void complete_rename(const wchar_t* folder, const rename_half& half,
                       const directory_changes_iterator::entry& change);
  void report_rename(const wchar_t* folder, std::uint32_t first_action, std::wstring_view first,
                     std::wstring_view second);

  idirectories_observer* observer_;
  std::map<std::wstring, std::optional<rename_half>, std::less<>> pending_;  ///< by folder
};

}  // namespace winapi::directory_mgmt
