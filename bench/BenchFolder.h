#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "platform/seam.h"
#include "support/TemporaryFolder.h"

/// A folder with guardian settings that the module takes for its own.
class BenchFolder final : private platform::Seam {
 public:
  BenchFolder() {
    std::filesystem::create_directories(folder_.path() / "settings" / "cloud");
    std::ofstream(folder_.path() / "settings" / "cloud_guardian_settings.json") << R"({
      "storage_folder": "bench", "storage_filename": "services.json",
      "circuit_config": {"threshold": 5, "intervals": [{"min": 60, "max": 120}],
                         "reset_threshold": 60}})";
    platform::set_seam(this);
  }
  /// To be called when the breaker stands, which doesn't ask for its folder again: what is measured
  /// is then the module with nothing between it and the system.
  static void step_aside() { platform::set_seam(nullptr); }
  BenchFolder(const BenchFolder&) = delete;
  BenchFolder& operator=(const BenchFolder&) = delete;
  ~BenchFolder() override { platform::set_seam(nullptr); }

  std::string lock_file() const {
    return (folder_.path() / "settings" / "cloud" / "cloud_guardian_lock.lock").string();
  }
  std::filesystem::path services_file() const {
    return folder_.path() / "settings" / "cloud" / "services.json";
  }

 private:
  std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept override {
    error = 0;
    return (folder_.path() / "module.so").wstring();
  }
  std::optional<bool> elevated() noexcept override { return true; }

  support::TemporaryFolder folder_;
};
