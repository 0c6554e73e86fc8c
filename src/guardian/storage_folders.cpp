#include "guardian/storage_folders.h"

#include <cstdint>

#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "platform/file.h"

namespace cloud::guardian {

stdext::expected<std::wstring, error_record> get_storage_folder(const guardian_paths& paths) {
  return get_settings_path(paths.storage_folder, paths.admin_storage_folder);
}

stdext::expected<std::wstring, error_record> create_storage_folder(const guardian_paths& paths) {
  auto storage_folder = get_storage_folder(paths);
  if (!storage_folder) return storage_folder;
  std::uint32_t error = win_error::success;
  if (!platform::create_folders(platform::file_path(storage_folder.value()), error)) {
    return stdext::unexpected{
        error_record{winapi::make_error_code(error), L"filesystem::create_directories"}};
  }

  auto shared_folder = get_module_path(paths.admin_storage_folder);
  if (!shared_folder) return shared_folder;
  // Without elevated rights this can't succeed, and needn't: the folder came with the product.
  platform::create_folders(platform::file_path(shared_folder.value()), error);
  return shared_folder;
}

}  // namespace cloud::guardian
