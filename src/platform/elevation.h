#pragma once

namespace platform {

/// True if the process has the rights of an administrator: on Windows membership of the thread's
/// token in the local Administrators group, on Linux the effective user 0. Asks anew at each call.
bool is_elevated() noexcept;

}  // namespace platform
