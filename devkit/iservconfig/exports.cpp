#include <cwchar>
#include <mutex>
#include <new>

#include "devkit/iservconfig/ProductInfo.h"

namespace {

constexpr std::uint32_t invalid_data = 13;
constexpr std::uint32_t out_of_memory = 14;
constexpr std::uint32_t not_found = 1168;
constexpr const wchar_t* plugin_name = L"productinfo";

std::mutex mutex;
devkit::ProductInfo* instance = nullptr;
std::uint32_t count = 0;

}  // namespace

/// One counted object for all.
ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (out == nullptr || name == nullptr) return invalid_data;
  *out = nullptr;
  if (std::wcscmp(name, plugin_name) != 0) return not_found;
  const std::lock_guard guard(mutex);
  if (count == 0) instance = new (std::nothrow) devkit::ProductInfo;
  if (instance == nullptr) return out_of_memory;
  *out = instance->QueryInterface(id);
  if (*out == nullptr) {
    if (count == 0) msvc_abi::destroy(instance);
    return invalid_data;
  }
  ++count;
  return 0;
}

ABI_EXPORT void ZvDestroyObject(const wchar_t* name, void* object) {
  if (name == nullptr || object == nullptr || std::wcscmp(name, plugin_name) != 0) return;
  const std::lock_guard guard(mutex);
  if (count == 0 || --count != 0) return;
  msvc_abi::destroy(instance);
  instance = nullptr;
}
