// Whatever stands in the settings file, it is read whole or refused by an exception.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <sstream>
#include <string>

#include "cloud/services_settings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream content(std::string(reinterpret_cast<const char*>(data), size));
  try {
    const cloud::services_settings settings = cloud::parse_services_settings(content);
    if (settings.categories.size() + settings.services.size() > size) __builtin_trap();
  } catch (const std::exception&) {
    // Refused, as is right for most of what a fuzzer finds.
  }
  return 0;
}
