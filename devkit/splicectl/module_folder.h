#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace devkit {

/// From here on the module's own code in this program (its readers of files) takes the folder of
/// `module` for its own, as it would inside that module. `elevated` says whose circuits are meant,
/// null: those that a process with this one's rights would use. Not to be raced with the readers.
void read_as(const std::filesystem::path& module, std::optional<bool> elevated = std::nullopt);

/// A file that the kit keeps in the module's folder, or where the environment's `variable` says.
std::filesystem::path kit_file(const std::filesystem::path& module, const char* variable,
                               const char* name);
std::filesystem::path guardian_config_file(const std::filesystem::path& module);
std::filesystem::path events_file(const std::filesystem::path& module);

/// The file that the proxy client reads where nobody names another: beside this program, since the
/// module looks for that client beside the program it runs in.
std::filesystem::path default_proxy_file();

/// Puts a whole file in the place of the old one: who reads meanwhile sees either. Throws
/// std::runtime_error.
void replace_file(const std::filesystem::path& path, const std::string& content);

}  // namespace devkit
