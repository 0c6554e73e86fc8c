#pragma once

#include "_base/StringT.h"
#include "_base/abi.h"
#include "_base/iobservable.h"
#include "frame/IZvBaseInterface.h"
#include "guardian/ICloudGuardianSettingsObserver.h"

inline constexpr IID IID_ICloudGuardianQuerier = {
    0xe675668b, 0x5b90, 0x9cda, {0x65, 0x49, 0xfd, 0x19, 0x7a, 0xb9, 0x66, 0xad}};

/// The part of the querier that is asked.
class ICloudGuardianSettings : public IZvBaseInterface {
 public:
  /// Fills `settings` with the configuration as JSON text in UTF-8, or leaves it empty. Blocks
  /// while the cloud is asked.
  virtual void get_settings(zv::StringT<char>& settings) = 0;

 protected:
  ~ICloudGuardianSettings() = default;
};

/// The plug-in "cloud_guardian_querier" of another module: what the cloud wants the guardian to do.
class ICloudGuardianQuerier : public ICloudGuardianSettings,
                              public zv::iobservable<ICloudGuardianSettingsObserver*> {
 protected:
  ~ICloudGuardianQuerier() = default;
};
