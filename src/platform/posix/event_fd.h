#pragma once

namespace platform {

/// The descriptor behind an event, to poll for reading.
int event_descriptor(void* event) noexcept;
/// Resets the event; false if it wasn't signalled (any more).
bool consume_event(void* event) noexcept;

}  // namespace platform
