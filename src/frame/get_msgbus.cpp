#include "frame/get_msgbus.h"

#include "frame/host_paths.h"
#include "platform/library.h"

namespace {

IBus* bus_of(platform::module_handle module) {
  if (module == nullptr) return nullptr;

  std::uint32_t error = 0;
  const auto get_interface =
      reinterpret_cast<ZvGetInterface_t>(platform::find_symbol(module, "ZvGetInterface", error));
  if (get_interface == nullptr) return nullptr;

  IBusHost* const host = get_interface(IID_IBusHost);
  if (host == nullptr) return nullptr;
  IZvBaseInterface* const bus = host->get_bus(0);
  if (bus == nullptr) return nullptr;
  return static_cast<IBus*>(bus->QueryInterface(IID_IBus));
}

const std::wstring& library_name() {
  static const std::wstring name = platform::library_file_name(L"msgbus");
  return name;
}

}  // namespace

IBus* get_msgbus() {
  const auto path = get_module_path(library_name());
  return path ? bus_of(platform::find_loaded(path.value().c_str())) : nullptr;
}

IBus* find_msgbus() {
  return bus_of(platform::find_loaded(library_name().c_str()));
}
