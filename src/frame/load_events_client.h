#pragma once

#include <cstdint>

#include "frame/IECEventsClient.h"
#include "frame/plugin_handle.h"

/// The plug-in "eceventsclient" of the library at `path`, started; empty unless `status` is 0. It
/// is 31 for a plug-in without that interface. The handle stops it and lets its library go.
plugin_handle<IECEventsClient> load_events_client(const wchar_t* path, std::uint32_t& status);

/// How a failure to load is told in the log.
struct events_client_lines {
  const wchar_t* function;
  const wchar_t* no_folder;  ///< before the number
  const wchar_t* end;        ///< behind it, of either line
};

/// The one in the module's own folder. Where it can't be had, memory having run out included, the
/// handle is empty and the log has a line.
plugin_handle<IECEventsClient> load_own_events_client(const events_client_lines& lines);
