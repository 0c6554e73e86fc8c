#pragma once

#include "cloud/request_records.h"

namespace cloud {

/// Follows an upload. The calls come from whichever thread the client library works on, and end
/// before the upload's own call returns.
class upload_observer {
 public:
  virtual void on_progress(const upload_progress& progress) = 0;

 protected:
  ~upload_observer() = default;
};

}  // namespace cloud
