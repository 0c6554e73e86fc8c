#pragma once

#include <cstdint>

namespace platform {

/// An auto-reset event, unsignalled; null with `error` set if it can't be made.
void* create_event(std::uint32_t& error) noexcept;
bool set_event(void* event, std::uint32_t& error) noexcept;
/// Waits for the event at most `milliseconds` (~0: for ever) and resets it; false if time ran out.
bool wait_event(void* event, std::uint32_t milliseconds) noexcept;
void close_event(void* event) noexcept;

}  // namespace platform
