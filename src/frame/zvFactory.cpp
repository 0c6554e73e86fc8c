#include "frame/zvFactory.h"

#include <algorithm>
#include <cwchar>

namespace zv::framework {

void copy_factory_name(wchar_t* field, std::size_t size, const wchar_t* name) noexcept {
  const std::size_t length = std::min(std::wcslen(name), size - 1);
  std::wmemcpy(field, name, length);
  field[length] = L'\0';
}

bool same_factory_name(const wchar_t* a, const wchar_t* b) noexcept {
  return std::wcscmp(a, b) == 0;
}

}  // namespace zv::framework
