#pragma once

#include "cloud/cirrel_client.h"
#include "loadable/zvnc/Backend.h"

namespace support {

/// A table whose functions call `backend`; those that nobody calls are set, but not to be called.
/// One backend at a time, until it is forgotten.
cirrel_client make_cloud_client_table(zvnc::Backend& backend);
void forget_cloud_client_table() noexcept;

}  // namespace support
