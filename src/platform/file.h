#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace platform {

/// A wide text as a path and back. (On Linux the standard path's own conversions go by the locale
/// and throw at anything beyond ASCII outside a UTF-8 one.)
std::filesystem::path file_path(std::wstring_view text);
std::wstring wide_text(const std::filesystem::path& path);

/// Makes the folder and those above it that are missing. True if it is there, whoever made it.
bool create_folders(const std::filesystem::path& path, std::uint32_t& error);

/// Opens a file for reading its bytes; test `is_open()`. A seam is asked for the open, then once
/// for the reads: when it fails those, the stream is open and bad. Likewise for writing.
std::ifstream open_for_reading(const std::filesystem::path& path);
/// Opens a file for writing, truncating it; test the stream.
std::ofstream open_for_writing(const std::filesystem::path& path);

}  // namespace platform
