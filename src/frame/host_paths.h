#pragma once

#include <cstdint>
#include <string>

#include "_base/expected.h"
#include "frame/error_record.h"

/// Where things lie: the module, the service process around it, the product's folders.

namespace dll {

/// The folder of this module up to and including the last separator. `error` is 0 on success, 31 if
/// the name has no folder, the system's number otherwise.
std::wstring get_foldername(std::uint32_t& error);

}  // namespace dll

/// Which service process hosts this module: "app" or "core" by the service library that lies beside
/// the executable. With neither there `id` stays as it is. 0, or 1627 if the folder is unknown.
std::uint32_t GetRunningFolderId(std::wstring& id);

/// A path below this module's folder; an absolute `relative` stands for itself.
stdext::expected<std::wstring, error_record> get_module_path(const std::wstring& relative);

/// A path below the desktop profiles folder, as the configuration plug-in knows it.
stdext::expected<std::wstring, error_record> get_profile_path(const std::wstring& relative);

/// Below the module for an administrator, below the profiles for anyone else, who could not write
/// beside the module.
stdext::expected<std::wstring, error_record> get_settings_path(const std::wstring& user_relative,
                                                               const std::wstring& admin_relative);

/// Computed on first use and kept for the process.
bool is_user_admin();

/// The product's application identifier in UTF-8, empty if it can't be had.
std::string get_product_app_id();
