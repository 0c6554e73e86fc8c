#pragma once

#include <cstdint>
#include <string>

#include "_base/expected.h"
#include "frame/error_record.h"
#include "platform/library.h"

/// Where things lie: the module, the service process around it, the product's folders.

namespace dll {

/// The folder of `module`, ending in a separator. `error` is 0, or 31 for a name without a folder,
/// or the system's number; the result is then empty.
std::wstring get_foldername(platform::module_handle module, std::uint32_t& error);

}  // namespace dll

/// Tells the service processes apart by the service library beside the executable: "app" or "core".
/// `id` stays untouched in any other process. 0, or 1627 if the executable's folder is unknown.
std::uint32_t GetRunningFolderId(std::wstring& id);

/// A path below this module's folder; an absolute `relative` stands for itself.
stdext::expected<std::wstring, error_record> get_module_path(const std::wstring& relative);

/// A path below the desktop profiles folder, as the configuration plug-in knows it.
stdext::expected<std::wstring, error_record> get_profile_path(const std::wstring& relative);

/// Below the module for an administrator, below the profiles for anyone else, who could not write
/// beside the module.
stdext::expected<std::wstring, error_record> get_settings_path(const std::wstring& user_relative,
                                                               const std::wstring& admin_relative);

/// Asked of the system once: rights do not change while a process lives.
bool is_user_admin();

/// The product's application identifier in UTF-8, empty if it can't be had.
std::string get_product_app_id();
