#include "frame/load_events_client.h"

#include <new>
#include <string>

#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "frame/load_exported_plugin.h"
#include "frame/logger_stream.h"
#include "platform/library.h"

plugin_handle<IECEventsClient> load_events_client(const wchar_t* path, std::uint32_t& status) {
  return zv::framework::load_exported_plugin<IECEventsClient>(path, L"eceventsclient",
                                                              IID_ECEventsClient, status);
}

plugin_handle<IECEventsClient> load_own_events_client(const events_client_lines& lines) {
  plugin_handle<IECEventsClient> client;
  std::uint32_t status = win_error::gen_failure;
  try {
    std::uint32_t error = 0;
    const std::wstring folder = dll::get_foldername(platform::own_module(), error);
    if (error != win_error::success) {
      LOG_LINE(logging::failure, lines.function) << lines.no_folder << error << lines.end;
      return client;
    }
    const std::wstring library = folder + platform::library_file_name(L"ecevents");
    client = load_events_client(library.c_str(), status);
  } catch (const std::bad_alloc&) {
    status = win_error::out_of_memory;
  }
  if (status != win_error::success) {
    LOG_LINE(logging::failure, lines.function)
        << L"Could not load the EC events DLL. Error " << status << lines.end;
  }
  return client;
}
