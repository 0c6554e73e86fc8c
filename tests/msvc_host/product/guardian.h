#pragma once

// The querier of the guardian's configuration as its maker sees it.

#include "product/cloud.h"
#include "product/plugin.h"
#include "product/string.h"

class ICloudGuardianSettingsObserver {
 public:
  virtual ~ICloudGuardianSettingsObserver() = default;
  virtual void OnSettingsChanged(const char* settings) = 0;
};

// Whatever get_settings returns, the module doesn't read it.
class ICloudGuardianSettings : public IZvBaseInterface {
 public:
  virtual uint32_t get_settings(zv::StringT<char>& settings) = 0;
};

class ICloudGuardianQuerier : public ICloudGuardianSettings,
                              public zv::iobservable<ICloudGuardianSettingsObserver*> {};
