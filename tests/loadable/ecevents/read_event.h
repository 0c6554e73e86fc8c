#pragma once

#include "loadable/ecevents/event_view.h"
#include "support/posted_event.h"

/// All that the event's operations tell of it. A count that differs from what the enumerator shows
/// throws std::logic_error.
support::PostedEvent read_event(const view::Event& event);
