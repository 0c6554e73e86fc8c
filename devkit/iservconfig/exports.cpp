#include <cwchar>

#include "_base/win_error.h"
#include "devkit/common/plugin_exports.h"
#include "devkit/iservconfig/ProductInfo.h"

ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (out == nullptr || name == nullptr) return win_error::invalid_data;
  *out = nullptr;
  if (std::wcscmp(name, L"productinfo") != 0) return win_error::not_found;
  return devkit::create_plugin<devkit::ProductInfo>(id, out);
}

ABI_EXPORT void ZvDestroyObject(const wchar_t*, void* object) {
  if (object != nullptr) devkit::destroy_plugin(object);
}
