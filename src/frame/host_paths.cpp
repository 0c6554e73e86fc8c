#include "frame/host_paths.h"

#include <memory>
#include <string_view>
#include <system_error>

#include "_base/PathString.h"
#include "_base/utf8.h"
#include "_base/win_error.h"
#include "frame/IServConfig.h"
#include "frame/load_exported_plugin.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"
#include "platform/elevation.h"
#include "platform/file.h"
#include "platform/library.h"

namespace {

using path_or_error = stdext::expected<std::wstring, error_record>;

stdext::unexpected<error_record> failure(std::uint32_t number, const wchar_t* message) {
  return {error_record{winapi::make_error_code(number), message}};
}

bool is_separator(wchar_t character) {
  return character == L'/' || character == platform::path_separator;
}

/// Joins with exactly one separator between the two.
void append_path(zv::PathString& path, std::wstring_view relative) {
  while (!relative.empty() && is_separator(relative.front())) relative.remove_prefix(1);
  const std::wstring_view folder = path.view();
  if (folder.empty() || !is_separator(folder.back())) path.AppendChar(platform::path_separator);
  path.Append(std::wstring(relative).c_str());
}

std::wstring service_library(std::wstring_view stem) {
  return std::wstring(L"services") + platform::path_separator + platform::library_file_name(stem);
}

std::wstring join(const std::wstring& folder, const std::wstring& relative) {
  return platform::wide_text(platform::file_path(folder) / platform::file_path(relative));
}

plugin_handle<IServConfig> load_product_info(const std::wstring& path, const IID& id,
                                             std::uint32_t& status) {
  return zv::framework::load_exported_plugin<IServConfig>(path.c_str(), L"productinfo", id, status);
}

}  // namespace

namespace dll {

std::wstring get_foldername(platform::module_handle module, std::uint32_t& error) {
  constexpr std::uint32_t size = 32767;
  const auto buffer = std::make_unique<wchar_t[]>(size);
  const std::uint32_t length = platform::module_file_name(module, buffer.get(), size, error);
  // A full buffer alone is no failure: the system has to complain as well.
  if (length == 0 || (length == size && error != 0)) return {};

  const std::wstring_view name(buffer.get(), length);
  const std::size_t separator = name.rfind(platform::path_separator);
  if (separator == std::wstring_view::npos) {
    error = win_error::gen_failure;
    return {};
  }
  error = win_error::success;
  return std::wstring(name.substr(0, separator + 1));
}

}  // namespace dll

std::uint32_t GetRunningFolderId(std::wstring& id) {
  const wchar_t* const scope = L"GetRunningFolderId";
  const trace_scope trace(scope);

  zv::PathString app_service;
  zv::PathString core_service;
  if (!zv::PathString::AskExeFolder(app_service) || !zv::PathString::AskExeFolder(core_service)) {
    LOG_LINE(logging::failure, scope) << L"zv::PathString::AskExeFolder failed";
    return win_error::function_failed;
  }

  append_path(app_service, service_library(L"zvappservice"));
  append_path(core_service, service_library(L"zvauxiliaryservice"));
  if (platform::file_exists(app_service.c_str())) {
    id = L"app";
  } else if (platform::file_exists(core_service.c_str())) {
    id = L"core";
  }
  return win_error::success;
}

path_or_error get_module_path(const std::wstring& relative) {
  std::uint32_t error = 0;
  const std::wstring folder = dll::get_foldername(platform::own_module(), error);
  if (error != win_error::success) return failure(error, L"dll::get_foldername");
  return join(folder, relative);
}

path_or_error get_profile_path(const std::wstring& relative) {
  path_or_error library = get_module_path(platform::library_file_name(L"iservconfig"));
  if (!library) return library;

  std::uint32_t status = 0;
  const auto config = load_product_info(library.value(), IID_IServConfig, status);
  if (!config) return failure(status, L"get_any_plugin<IServConfig>");

  const wchar_t* const profiles =
      config->GetString(PATH_COMMON_PRODUCT_DESKTOP_PROFILES, L"Desktop");
  // The configuration answers with a text in angle brackets for a value it doesn't have.
  if (profiles == nullptr || profiles[0] == L'<') {
    return failure(win_error::not_found, L"GetString PATH_COMMON_PRODUCT_DESKTOP_PROFILES");
  }
  return join(profiles, relative);
}

path_or_error get_settings_path(const std::wstring& user_relative,
                                const std::wstring& admin_relative) {
  return is_user_admin() ? get_module_path(admin_relative) : get_profile_path(user_relative);
}

bool is_user_admin() {
  static const bool is_admin = platform::is_elevated();
  return is_admin;
}

std::string get_product_app_id() {
  // The folder ends in a separator already, and may be unknown. Both are meant: a doubled separator
  // does no harm, and a path that leads nowhere ends in the same empty answer.
  std::uint32_t error = 0;
  const std::wstring library = dll::get_foldername(platform::own_module(), error) +
                               platform::path_separator +
                               platform::library_file_name(L"iservconfig");

  std::uint32_t status = 0;
  const auto config = load_product_info(library, IID_ProductInfo, status);
  if (!config) return {};

  const wchar_t* const app_id = config->GetString(PRODUCT_APP_ID, L"Desktop");
  if (app_id == nullptr) return {};
  std::error_code conversion;
  return zv::to_utf8(app_id, conversion);
}
