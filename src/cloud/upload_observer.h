#pragma once

#include "cloud/request_records.h"

namespace cloud {

/// The caller's object for an upload. Called on the thread on which the client library reports.
class upload_observer {
 public:
  virtual void on_progress(const upload_progress& progress) = 0;

 protected:
  ~upload_observer() = default;
};

}  // namespace cloud
