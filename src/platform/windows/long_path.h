#pragma once

#include <string>

namespace platform {

/// The path as the system takes it however long it is: one beyond the ordinary limit is made
/// absolute and gets the prefix that lifts the limit, any other stays as it is.
std::wstring long_path(std::wstring path);

}  // namespace platform
