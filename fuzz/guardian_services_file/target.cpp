// Whatever stands in the services file, it is refused as the loader tells, or the circuits that it
// gives come back from what is written of them, but for fractions of a second.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "_base/win_error.h"
#include "guardian/config_files.h"
#include "guardian/guardian_json.h"
#include "platform/file.h"
#include "support/TemporaryFolder.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

cloud::guardian::loaded<services_map> load(const std::string& text) {
  static const support::TemporaryFolder folder(support::TemporaryFolder::fast_base());
  const std::filesystem::path path = folder / "services.json";
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  require(!file.fail());
  return cloud::guardian::load_services_info(platform::wide_text(path));
}

bool is_same(const request_failure& a, const request_failure& b) {
  return a.value == b.value && a.field == b.field && a.method == b.method;
}

bool is_same(const service_info& a, const service_info& b) {
  if (a.errors.size() != b.errors.size()) return false;
  for (std::size_t i = 0; i < a.errors.size(); ++i) {
    if (!is_same(a.errors[i], b.errors[i])) return false;
  }
  return a.state == b.state && a.counter == b.counter && a.index == b.index &&
         a.next_request_time / ticks_per_second == b.next_request_time / ticks_per_second &&
         a.blocked == b.blocked && a.allowed == b.allowed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto read = load(std::string(reinterpret_cast<const char*>(data), size));
  if (!read) {
    require(read.error().code == winapi::make_error_code(win_error::bad_db));
    require(read.error().message == L"invalid services info file");
    return 0;
  }

  const std::string written = nlohmann::json(read.value()).dump();
  const auto again = load(written);
  require(again.has_value());
  require(again.value().size() == read.value().size());
  for (const auto& [service, info] : read.value()) {
    require(is_same(info, again.value().at(service)));
  }
  require(nlohmann::json(again.value()).dump() == written);
  return 0;
}
