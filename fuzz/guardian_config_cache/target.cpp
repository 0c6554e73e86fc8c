// Whatever stands in the config cache, it gives what the same text from the cloud would give. Where
// it is refused the packaged file takes its place; else it comes back unchanged after a rewrite.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "_base/win_error.h"
#include "guardian/config_files.h"
#include "guardian/guardian_json.h"
#include "support/ModuleFolder.h"

namespace {

using namespace cloud::guardian;

void require(bool condition) {
  if (!condition) std::abort();
}

const guardian_config packaged{77, {{7, 77}}, 777, {}};

/// A module's folder with a packaged file, and a cache that changes.
class Cache {
 public:
  Cache() {
    folder_.write("settings/cloud_guardian_settings.json", nlohmann::json(packaged).dump());
  }

  void write(const std::string& text) { folder_.write("cache/config.json", text); }
  const guardian_paths& paths() const noexcept { return paths_; }

 private:
  support::ModuleFolder folder_{support::TemporaryFolder::fast_base()};
  guardian_paths paths_{.storage_folder = {},
                        .admin_storage_folder = L"cache",
                        .storage_filename = {},
                        .config_storage_filename = L"config.json"};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Cache cache;
  const std::string text(reinterpret_cast<const char*>(data), size);
  cache.write(text);

  const auto path = get_config_cache_path(cache.paths());
  require(path.has_value());
  const auto read = load_config_cache(path.value());
  const auto sent = load_config_from_string(text);
  require(read.has_value() == sent.has_value());

  const auto in_force = load_config_from_file(cache.paths());
  require(in_force.has_value());
  if (!read) {
    require(read.error().code == winapi::make_error_code(win_error::bad_db));
    require(read.error().message == L"invalid config file");
    require(in_force.value() == packaged);
    return 0;
  }
  require(read.value() == sent.value() && in_force.value() == read.value());

  cache.write(nlohmann::json(read.value()).dump());
  const auto again = load_config_cache(path.value());
  require(again.has_value() && again.value() == read.value());
  return 0;
}
