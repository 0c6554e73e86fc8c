#include "devkit/iservconfig/ProductInfo.h"

#include <cstdlib>

#include "devkit/common/os.h"
#include "devkit/common/settings_file.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

std::string with_folder(std::string text, const std::string& folder) {
  static const std::string name = "${folder}";
  for (auto at = text.find(name); at != std::string::npos;
       at = text.find(name, at + folder.size())) {
    text.replace(at, name.size(), folder);
  }
  return text;
}

}  // namespace

void* ProductInfo::QueryInterface(const IID& id) {
  const bool known = id == IID_IServConfig || id == IID_ProductInfo || id == IID_IServPlugin ||
                     id == IID_IZvBaseInterface;
  return known ? this : nullptr;
}

std::uint32_t ProductInfo::Init(IServMain*) {
  const std::filesystem::path folder = os::own_folder();
  const std::filesystem::path path = folder / "iservconfig.json";
  const nlohmann::json settings = read_settings(path);
  has_file_ = std::filesystem::exists(path);
  values_.clear();
  for (const auto& [key, value] : settings.items()) {
    const auto id = static_cast<std::uint32_t>(std::strtoul(key.c_str(), nullptr, 10));
    if (value.is_null()) values_[id] = std::nullopt;
    if (value.is_string())
      values_[id] = to_wide(with_folder(value.get<std::string>(), path_text(folder)));
  }
  return 0;
}

// The values stay: texts handed out are valid as long as the plug-in.
std::uint32_t ProductInfo::UnInit() {
  return 0;
}
std::uint32_t ProductInfo::Start() {
  return 0;
}
void ProductInfo::Stop() {}

void* ProductInfo::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

const wchar_t* ProductInfo::GetString(std::uint32_t id, const wchar_t* default_value) {
  if (!has_file_) return default_value;
  const auto found = values_.find(id);
  if (found == values_.end()) return L"<not found>";
  return found->second ? found->second->c_str() : nullptr;
}

}  // namespace devkit
