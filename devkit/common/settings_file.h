#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace devkit {

/// The JSON object in a stand-in's settings file; an empty object if there is no such file. One
/// that holds anything else is told about on standard error, once for each reading, and counts as
/// empty: a stand-in has no other way to complain.
nlohmann::json read_settings(const std::filesystem::path& path);

}  // namespace devkit
