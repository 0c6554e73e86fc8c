#pragma once

#include <cstdint>

namespace platform {

/// The system's number of the calling thread, never 0.
std::uint32_t current_thread_id() noexcept;

}  // namespace platform
