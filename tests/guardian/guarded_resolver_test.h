#pragma once

#include <cstdint>

#include "cloud/IRequestResolver.h"

inline bool is(const cloud::request_status& status, std::uint32_t type, std::uint32_t code) {
  return status.error_type == type && status.code == code;
}

/// Counts what it is told of an upload.
struct CountingUpload final : cloud::upload_observer {
  void on_progress(const cloud::upload_progress&) override { ++calls; }
  int calls = 0;
};
