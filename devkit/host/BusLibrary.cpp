#include "devkit/host/BusLibrary.h"

#include <map>
#include <mutex>
#include <stdexcept>

#include "frame/get_msgbus.h"

namespace devkit {

namespace {

/// The closed bus has no such export, and goes as it pleases.
void leave_bus(const os::Library& library) {
  void (*leave)() = nullptr;
  try {
    leave = library.symbol<void (*)()>("SpliceBusLeave");
  } catch (const std::runtime_error&) {
    return;
  }
  leave();
}

/// The libraries of this process, one for all who are there at the time: it is on the bus once.
class Loaded {
 public:
  std::shared_ptr<const os::Library> get(const std::filesystem::path& path) {
    const std::lock_guard guard(mutex_);
    if (auto library = libraries_[path].lock()) return library;
    std::shared_ptr<const os::Library> library(
        new os::Library(path), [this, path](const os::Library* last) { leave(path, last); });
    libraries_[path] = library;
    return library;
  }

 private:
  /// Under the lock, since nobody may ask for the bus meanwhile. Whoever did while this waited for
  /// the lock is on the same bus, and isn't to lose it.
  void leave(const std::filesystem::path& path, const os::Library* last) {
    const std::lock_guard guard(mutex_);
    if (libraries_[path].expired()) leave_bus(*last);
    delete last;
  }

  std::mutex mutex_;
  std::map<std::filesystem::path, std::weak_ptr<const os::Library>> libraries_;
};

std::shared_ptr<const os::Library> load(const std::filesystem::path& path) {
  static Loaded loaded;
  return std::filesystem::exists(path) ? loaded.get(path) : nullptr;
}

}  // namespace

BusLibrary::BusLibrary(const std::filesystem::path& folder)
    : library_(load(std::filesystem::absolute(folder) / os::library_name("msgbus"))) {}

IBus* BusLibrary::bus() const {
  if (!library_) return nullptr;
  IBusHost* const host = library_->symbol<ZvGetInterface_t>("ZvGetInterface")(IID_IBusHost);
  IZvBaseInterface* const bus = host != nullptr ? host->get_bus(0) : nullptr;
  return bus != nullptr ? static_cast<IBus*>(bus->QueryInterface(IID_IBus)) : nullptr;
}

}  // namespace devkit
