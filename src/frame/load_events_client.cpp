#include "frame/load_events_client.h"

#include "frame/load_exported_plugin.h"

plugin_handle<IECEventsClient> load_events_client(const wchar_t* path, std::uint32_t& status) {
  return zv::framework::load_exported_plugin<IECEventsClient>(path, L"eceventsclient",
                                                              IID_ECEventsClient, status);
}
