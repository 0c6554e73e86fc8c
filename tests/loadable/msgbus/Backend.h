#pragma once

#include "frame/get_msgbus.h"

/// What stands behind the test's bus library. The library is a door only, so that the bus outlives
/// it.
namespace msgbus {

/// Called from any thread.
class Backend {
 public:
  virtual IBusHost* enter(const IID& id) = 0;

 protected:
  ~Backend() = default;
};

/// The library's one export beyond the product's: whom its door leads to, null for nobody.
using set_backend_t = void (*)(Backend* backend);
inline constexpr const char* set_backend_name = "msgbus_set_backend";

}  // namespace msgbus
