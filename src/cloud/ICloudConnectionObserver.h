#pragma once

#include <cstdint>

namespace cloud {

/// Hears that the cloud is reachable; possibly more than once, and on the client library's thread.
class ICloudConnectionObserver {
 public:
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;
  virtual void OnNetworkAvailable() = 0;

 protected:
  ~ICloudConnectionObserver() = default;
};

}  // namespace cloud
