#pragma once

#include <string>

#include "_base/expected.h"
#include "frame/error_record.h"
#include "guardian/guardian_paths.h"

namespace cloud::guardian {

/// The lock file's name in the folder that create_storage_folder returns.
inline constexpr wchar_t lock_file_name[] = L"cloud_guardian_lock.lock";

/// The folder of the services file: the administrator's below the module, anyone else's below the
/// desktop profiles. Not created.
stdext::expected<std::wstring, error_record> get_storage_folder(const guardian_paths& paths);

/// Creates the folder of the services file, and that of the lock file if that may be, and returns
/// the latter. It is the same for all processes, so that they share one lock.
stdext::expected<std::wstring, error_record> create_storage_folder(const guardian_paths& paths);

}  // namespace cloud::guardian
