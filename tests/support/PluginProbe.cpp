#include "support/PluginProbe.h"

#include <stdexcept>

namespace support {

PluginProbe::PluginProbe(const std::filesystem::path& path) {
  std::uint32_t error = 0;
  library_ = platform::load_library(path.wstring().c_str(), error);
  if (library_ == nullptr) {
    throw std::runtime_error("no probe at " + path.string() + ", error " + std::to_string(error));
  }
  symbol<void (*)()>("ProbeReset")();
}

PluginProbe::~PluginProbe() {
  platform::unload_library(library_);
}

template <class Function>
Function PluginProbe::symbol(const char* name) const {
  std::uint32_t error = 0;
  void* const found = platform::find_symbol(library_, name, error);
  if (found == nullptr) throw std::runtime_error(std::string("the probe lacks ") + name);
  return reinterpret_cast<Function>(found);
}

std::vector<std::wstring> PluginProbe::steps() const {
  std::vector<std::wstring> steps;
  const auto keep = [](void* context, const wchar_t* step) {
    static_cast<std::vector<std::wstring>*>(context)->push_back(step);
  };
  symbol<void (*)(void (*)(void*, const wchar_t*), void*)>("ProbeVisit")(keep, &steps);
  return steps;
}

void PluginProbe::fail(const wchar_t* step, std::uint32_t number) {
  symbol<void (*)(const wchar_t*, std::uint32_t)>("ProbeFail")(step, number);
}

void PluginProbe::set_string(std::uint32_t id, const wchar_t* text) {
  symbol<void (*)(std::uint32_t, const wchar_t*)>("ProbeSetString")(id, text);
}

}  // namespace support
