#pragma once

#include <filesystem>
#include <string_view>

namespace support {

/// The full path of the library that was built from tests/loadable/<name>.
std::filesystem::path loadable(std::wstring_view name);

/// The module itself, as the build made it.
std::filesystem::path built_module();

/// The folder of the running test program.
std::filesystem::path program_folder();

}  // namespace support
