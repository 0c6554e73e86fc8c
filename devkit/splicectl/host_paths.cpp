// In place of the module's own frame/host_paths.cpp: the same questions, answered for the module
// that the command line names and not for the program that this code is linked into. So the
// module's readers can be used as they are.
#include "frame/host_paths.h"

#include "_base/win_error.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/splicectl/module_folder.h"
#include "frame/IServConfig.h"
#include "frame/load_exported_plugin.h"
#include "platform/elevation.h"
#include "platform/file.h"

namespace {

using path_or_error = stdext::expected<std::wstring, error_record>;

std::filesystem::path module_folder;
std::optional<bool> is_elevated;

path_or_error below(const std::filesystem::path& folder, const std::wstring& relative) {
  return platform::wide_text(folder / platform::file_path(relative));
}

stdext::unexpected<error_record> failure(std::uint32_t number, const wchar_t* message) {
  return {error_record{winapi::make_error_code(number), message}};
}

}  // namespace

namespace devkit {

void read_as(const std::filesystem::path& module, std::optional<bool> elevated) {
  module_folder = std::filesystem::absolute(module).parent_path();
  is_elevated = elevated;
}

}  // namespace devkit

path_or_error get_module_path(const std::wstring& relative) {
  return below(module_folder, relative);
}

path_or_error get_profile_path(const std::wstring& relative) {
  const std::wstring library =
      platform::wide_text(module_folder / devkit::os::library_name("iservconfig"));
  std::uint32_t status = 0;
  const auto config = zv::framework::load_exported_plugin<IServConfig>(
      library.c_str(), L"productinfo", IID_IServConfig, status);
  if (!config) return failure(status, L"the library iservconfig can't be used");
  const wchar_t* const profiles =
      config->GetString(PATH_COMMON_PRODUCT_DESKTOP_PROFILES, L"Desktop");
  if (profiles == nullptr || profiles[0] == L'<')
    return failure(win_error::not_found, L"the profiles folder isn't configured");
  return below(platform::file_path(profiles), relative);
}

path_or_error get_settings_path(const std::wstring& user_relative,
                                const std::wstring& admin_relative) {
  return is_user_admin() ? get_module_path(admin_relative) : get_profile_path(user_relative);
}

bool is_user_admin() {
  return is_elevated.value_or(platform::is_elevated());
}
