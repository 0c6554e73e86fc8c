#pragma once

#include <cstdint>
#include <memory>

#include "cloud/cirrel_client.h"

/// The one client instance that the process shares, alive while someone owns it.
class cirrel_service {
 public:
  cirrel_service() = default;
  cirrel_service(const cirrel_service&) = delete;
  cirrel_service& operator=(const cirrel_service&) = delete;
  ~cirrel_service();

  /// The living singleton or a new one; empty if it can't be had, and the next call tries anew.
  static std::shared_ptr<cirrel_service> init();

  /// Registers the callback for the cloud's coming up and logs the outcome. A no-op without a
  /// client or an instance.
  void set_cloud_cbk(cirrel_cloud_up_callback callback, void* context);
  /// False without an instance. A failed read counts as up: requests
  /// then find out for themselves.
  bool is_cloud_up();

  cirrel_client* client = nullptr;
  void* instance = nullptr;
};
