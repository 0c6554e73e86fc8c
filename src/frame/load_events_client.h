#pragma once

#include <cstdint>

#include "frame/IECEventsClient.h"
#include "frame/plugin_handle.h"

/// The plug-in "eceventsclient" of the library at `path`, started; empty unless `status` is 0. It
/// is 31 for a plug-in without that interface. The handle stops it and lets its library go.
plugin_handle<IECEventsClient> load_events_client(const wchar_t* path, std::uint32_t& status);
