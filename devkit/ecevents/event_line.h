#pragma once

#include <string>

#include "devkit/ecevents/PostedEvent.h"

namespace devkit {

/// The event as one line of JSON, with its end: when (UTC), by which process, and all it holds. The
/// five members with values are always there, at each child too.
std::string event_line(const PostedEvent& event);

}  // namespace devkit
