#include "devkit/splicectl/module_folder.h"

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

/// Somebody who reads the old file holds it up on Windows.
constexpr std::chrono::seconds patience(5);

}  // namespace

std::filesystem::path kit_file(const std::filesystem::path& module, const char* variable,
                               const char* name) {
  const auto elsewhere = os::environment(variable);
  return elsewhere && !elsewhere->empty() ? to_path(*elsewhere)
                                          : std::filesystem::absolute(module).parent_path() / name;
}

std::filesystem::path guardian_config_file(const std::filesystem::path& module) {
  return kit_file(module, "SPLICE_GUARDIAN_CONFIG", "guardian_config.json");
}
std::filesystem::path events_file(const std::filesystem::path& module) {
  return kit_file(module, "SPLICE_EVENTS", "ecevents.jsonl");
}

std::filesystem::path default_proxy_file() {
  return os::program().parent_path() / "proxy.json";
}

void replace_file(const std::filesystem::path& path, const std::string& content) {
  const std::filesystem::path fresh =
      to_path(path_text(path) + "." + std::to_string(os::process_id()) + ".new");
  std::ofstream file(fresh, std::ios::binary);
  file << content;
  file.close();
  std::error_code ignored;
  if (!file) {
    std::filesystem::remove(fresh, ignored);
    throw std::runtime_error(path_text(fresh) +
                             " can't be written; is there room, and may this user write there?");
  }
  std::error_code error;
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    std::filesystem::rename(fresh, path, error);
    if (!error) return;
    if (!os::is_held_up(error) || std::chrono::steady_clock::now() > end) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::filesystem::remove(fresh, ignored);
  throw std::runtime_error(path_text(path) + " can't be replaced (" + error.message() +
                           "); is it a folder, or open in another program?");
}

}  // namespace devkit
