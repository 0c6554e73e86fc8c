#pragma once

#include <cstdint>

#include "_base/abi.h"

/// Told of a new configuration from the cloud. On the module's edge; called on a thread of the
/// querier's choice.
class ICloudGuardianSettingsObserver {
 public:
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;
  /// `settings` is a configuration as JSON text in UTF-8, valid during the call.
  virtual void OnSettingsChanged(const char* settings) = 0;

 protected:
  ~ICloudGuardianSettingsObserver() = default;
};
