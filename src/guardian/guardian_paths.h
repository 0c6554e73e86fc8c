#pragma once

#include <string>

/// Where the guardian keeps its files. Folders are relative: the user's to the desktop profiles
/// folder, the administrator's to this module's folder.
struct guardian_paths {
  std::wstring storage_folder;  ///< of the services file of a process without elevated rights
  /// Of the services file of an elevated process, and of the cache and the lock file of them all.
  std::wstring admin_storage_folder;
  std::wstring storage_filename;         ///< the services file
  std::wstring config_storage_filename;  ///< the config cache
};
