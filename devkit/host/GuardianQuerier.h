#pragma once

#include <filesystem>
#include <memory>

#include "devkit/common/FileWatcher.h"
#include "devkit/common/Observers.h"
#include "guardian/ICloudGuardianQuerier.h"

namespace devkit {

/// The plug-in "cloud_guardian_querier": what the cloud wants of the guardian is what a file says.
/// Each new text in it is told to the observers, on a thread of this object's own; an empty file
/// and none say nothing. Any thread may call.
class GuardianQuerier final : public ICloudGuardianQuerier {
 public:
  explicit GuardianQuerier(std::filesystem::path path);
  /// Waits for a running call; no observer may be left.
  ~GuardianQuerier() = default;

  void* QueryInterface(const IID& id) override;
  void get_settings(zv::StringT<char>& settings) override;
  bool add_observer(ICloudGuardianSettingsObserver* observer, std::uint64_t context) override;
  bool remove_observer(ICloudGuardianSettingsObserver* observer, std::uint64_t context) override;

 private:
  const std::filesystem::path path_;
  Observers<ICloudGuardianSettingsObserver> observers_;
  FileWatcher watcher_;
};

}  // namespace devkit
