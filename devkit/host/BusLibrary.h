#pragma once

#include <filesystem>
#include <memory>

#include "devkit/common/os.h"
#include "frame/msgbus/IBus.h"

namespace devkit {

/// The bus library of a folder, in this process for as long as one of these objects is there: that
/// is how the module in the same folder finds it. Where the folder has none there is no bus, as on
/// a machine whose product came without it.
class BusLibrary {
 public:
  /// Throws std::runtime_error for a library that can't be loaded.
  explicit BusLibrary(const std::filesystem::path& folder);
  BusLibrary(const BusLibrary&) = delete;
  BusLibrary& operator=(const BusLibrary&) = delete;
  /// The last one of the process takes leave of the bus, once all that was sent has gone out.
  ~BusLibrary() = default;

  /// Null without the library. The library's own.
  IBus* bus() const;

 private:
  const std::shared_ptr<const os::Library> library_;
};

}  // namespace devkit
