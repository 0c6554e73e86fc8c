#pragma once

#include <fstream>
#include <string>

#include "_base/expected.h"
#include "frame/error_record.h"
#include "guardian/guardian_config.h"
#include "guardian/guardian_paths.h"
#include "guardian/service_info.h"

/// Reading the guardian's files. Nothing is thrown but for lack of memory: what can't be opened is
/// 1011, what can't be understood 1006, in the category "win_error". The caller holds the file lock
/// where others may be writing.
namespace cloud::guardian {

template <class Value>
using loaded = stdext::expected<Value, error_record>;

/// The settings file that comes with the product.
loaded<std::wstring> get_packaged_settings_path();

/// From the packaged settings file.
loaded<guardian_paths> load_paths_from_file();

/// From the cache, which is what the cloud said last, or else from the packaged settings file. A
/// cache that doesn't serve is logged.
loaded<guardian_config> load_config_from_file(const guardian_paths& paths);

/// From the cache alone, `path` being get_config_cache_path's.
loaded<guardian_config> load_config_cache(const std::wstring& path);

/// Opens a settings or cache file.
loaded<std::ifstream> load_config_cache_file(const std::wstring& path);

/// `text` is UTF-8 in the form of the cache.
loaded<guardian_config> load_config_from_string(const std::string& text);

loaded<std::wstring> get_config_cache_path(const guardian_paths& paths);

/// From the services file.
loaded<services_map> load_services_info(const std::wstring& path);

}  // namespace cloud::guardian
