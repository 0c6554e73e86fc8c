#pragma once

#include <string>

#include "_base/abi.h"
#include "devkit/host/PluginHost.h"

namespace devkit {

/// A plug-in in use, for the object's life.
class HeldPlugin {
 public:
  /// Throws host_error, with the status and what to do about it, if the plug-in doesn't start.
  HeldPlugin(PluginHost& host, const char* name, const IID& id);
  HeldPlugin(const HeldPlugin&) = delete;
  HeldPlugin& operator=(const HeldPlugin&) = delete;
  ~HeldPlugin() { host_.release_plugin(name_.c_str()); }

  /// The face that was asked for.
  template <class Interface>
  Interface& as() const {
    return *static_cast<Interface*>(face_);
  }

 private:
  PluginHost& host_;
  const std::wstring name_;
  void* face_ = nullptr;
};

}  // namespace devkit
