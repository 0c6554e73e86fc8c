// Whatever the cloud sends as a configuration, it is refused as the loader tells, or comes back
// unchanged from what is written of it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "_base/win_error.h"
#include "guardian/config_files.h"
#include "guardian/guardian_json.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto read = cloud::guardian::load_config_from_string(text);
  if (!read) {
    require(read.error().code == winapi::make_error_code(win_error::bad_db));
    require(read.error().message == L"invalid config str");
    return 0;
  }

  const std::string written = nlohmann::json(read.value()).dump();
  const auto again = cloud::guardian::load_config_from_string(written);
  require(again.has_value() && again.value() == read.value());
  require(nlohmann::json(again.value()).dump() == written);
  return 0;
}
