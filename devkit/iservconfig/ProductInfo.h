#pragma once

#include <map>
#include <optional>
#include <string>

#include "frame/IServConfig.h"

namespace devkit {

/// The plug-in "productinfo": values from iservconfig.json beside the library, an object of ids to
/// texts, read at each Init. "${folder}" in a text stands for the library's own folder. A null
/// value answers null. An id that the file lacks answers "<not found>"; without a file every id
/// answers the caller's default. Texts are valid until the next Init. Between two of them any
/// thread may ask.
class ProductInfo final : public IServConfig {
 public:
  /// What ZvCreateObject is to answer in place of this object.
  std::uint32_t creation_failure() const { return 0; }

  void* QueryInterface(const IID& id) override;
  std::uint32_t Init(IServMain* host) override;
  std::uint32_t UnInit() override;
  std::uint32_t Start() override;
  void Stop() override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;
  const wchar_t* GetString(std::uint32_t id, const wchar_t* default_value) override;

 private:
  bool has_file_ = false;
  std::map<std::uint32_t, std::optional<std::wstring>> values_;  ///< none: answers null
};

}  // namespace devkit
