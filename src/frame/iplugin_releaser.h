#pragma once

namespace zv::framework::details {

/// The way back for a plug-in, which depends on where it came from.
class iplugin_releaser {
 public:
  iplugin_releaser() = default;
  iplugin_releaser(const iplugin_releaser&) = delete;
  iplugin_releaser& operator=(const iplugin_releaser&) = delete;
  virtual ~iplugin_releaser() = default;
  virtual void release() = 0;
};

}  // namespace zv::framework::details
