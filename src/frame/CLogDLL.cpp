#include "frame/CLogDLL.h"

#include <memory>
#include <string>

namespace logging {

namespace {

constexpr std::uint32_t path_size = 32767;
constexpr std::uint32_t no_such_interface = 0x80004002;

std::uint32_t stand_by_log_write(std::int16_t, const std::uint32_t*, void*, const wchar_t*,
                                 const wchar_t*, ...) {
  return no_such_interface;
}

/// The library beside this module, and nowhere else.
platform::module_handle load_beside_this_module(const std::wstring& file_name) {
  const auto path = std::make_unique<wchar_t[]>(path_size);
  std::uint32_t error = 0;
  const std::uint32_t length =
      platform::module_file_name(platform::own_module(), path.get(), path_size, error);
  if (length == 0) return nullptr;

  const std::wstring own_name(path.get(), length);
  const std::size_t separator = own_name.rfind(platform::path_separator);
  if (separator == std::wstring::npos) return nullptr;
  return platform::load_library((own_name.substr(0, separator + 1) + file_name).c_str(), error);
}

template <class Function>
void bind(platform::module_handle module, const char* name, Function& function) {
  std::uint32_t error = 0;
  function = reinterpret_cast<Function>(platform::find_symbol(module, name, error));
}

}  // namespace

CLogDLL::CLogDLL() {
  const std::wstring file_name = platform::library_file_name(L"log");
  module_ = platform::reference_loaded(file_name.c_str());
  if (module_ == nullptr) module_ = load_beside_this_module(file_name);
  if (module_ == nullptr) {
    LogWrite = stand_by_log_write;
    return;
  }

  void (*LogInit)() = nullptr;
  bind(module_, "LogInit", LogInit);
  if (LogInit != nullptr) LogInit();

  bind(module_, "LogApplySettings", LogApplySettings);
  bind(module_, "LogSetSettingsFile", LogSetSettingsFile);
  bind(module_, "LogEnable", LogEnable);
  bind(module_, "LogSetLevel", LogSetLevel);
  bind(module_, "LogSetPath", LogSetPath);
  bind(module_, "LogSetType", LogSetType);
  bind(module_, "LogSetMode", LogSetMode);
  bind(module_, "LogSetMaxSize", LogSetMaxSize);
  bind(module_, "LogSetDepth", LogSetDepth);
  bind(module_, "LogWrite", LogWrite);
  bind(module_, "LogIsEnabled", LogIsEnabled);
  bind(module_, "LogMonitorSettings", LogMonitorSettings);
  bind(module_, "LogGetLevel", LogGetLevel);
  bind(module_, "LogUninitDeskMetrics", LogUninitDeskMetrics);
  bind(module_, "LogTrackEvent", LogTrackEvent);
  bind(module_, "LogTrackEventData", LogTrackEventData);
  bind(module_, "LogRemoveModule", LogRemoveModule);
  if (LogWrite == nullptr) LogWrite = stand_by_log_write;
}

CLogDLL::~CLogDLL() {
  if (module_ == nullptr) return;
  void (*LogDeinit)() = nullptr;
  bind(module_, "LogDeinit", LogDeinit);
  if (LogDeinit != nullptr) LogDeinit();
  if (LogUninitDeskMetrics != nullptr) LogUninitDeskMetrics();
  if (LogRemoveModule != nullptr) LogRemoveModule("logging::CLogDLL::~CLogDLL");
  platform::unload_library(module_);
}

bool CLogDLL::IsEnabled() const {
  // The library answers in the low byte alone.
  return module_ != nullptr && LogIsEnabled != nullptr && LogIsEnabled() != 0;
}

}  // namespace logging
