#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/PluginProbe.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"

namespace support {

/// A folder that passes for the module's own, with a configuration library in it that answers as it
/// is told.
class ProductInfoFolder {
 public:
  static constexpr std::uint32_t profiles = 408;
  static constexpr std::uint32_t app_id = 44;

  ProductInfoFolder() {
    const auto library = folder.put_library(L"plugin_probe", L"iservconfig");
    seam.set_own_module_name(folder.module_name(L"cloudsplicer").wstring());
    probe.emplace(library);
  }

  /// The whole road to one GetString and back.
  static std::vector<std::wstring> road(const std::wstring& interface_name,
                                        const std::wstring& get_string) {
    return {L"create productinfo IServPlugin",
            L"Init without a host",
            L"Start",
            L"QueryInterface " + interface_name,
            L"GetString " + get_string,
            L"Stop",
            L"UnInit",
            L"QueryInterface IZvBaseInterface",
            L"destroy productinfo"};
  }

  const TemporaryFolder folder;
  TestSeam seam;
  std::optional<PluginProbe> probe;
};

}  // namespace support
