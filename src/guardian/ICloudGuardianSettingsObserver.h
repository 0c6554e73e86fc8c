#pragma once

#include <cstdint>

#include "_base/abi.h"

/// Told of a new configuration from the cloud. On the module's edge; called on a thread of the
/// querier's choice.
class ICloudGuardianSettingsObserver {
 public:
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;
  /// `settings` holds JSON in UTF-8 in the form of the cache, and is valid during the call.
  virtual void OnSettingsChanged(const char* settings) = 0;

 protected:
  ~ICloudGuardianSettingsObserver() = default;
};
