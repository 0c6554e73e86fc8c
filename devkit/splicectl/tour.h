#pragma once

#include <filesystem>

namespace devkit {

/// Shows the whole road with real parts: a cloud in a process of its own, the module in this one.
/// Each step says what it does, shows what came of it and checks it. Returns an exit code: ok only
/// if every step went as expected.
int run_tour(const std::filesystem::path& module, bool is_terminal);

}  // namespace devkit
