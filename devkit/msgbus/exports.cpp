#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>

#include "devkit/common/Immortal.h"
#include "devkit/common/os.h"
#include "devkit/msgbus/Bus.h"
#include "devkit/msgbus/bus_failure.h"
#include "frame/get_msgbus.h"

namespace {

/// The process's one bus, made when it is first asked for. While it is there the library holds
/// itself in memory, since threads run in it that nobody could wait for during its unloading.
class ProcessBus final : public IBusHost {
 public:
  void not_called_0() override {}
  void not_called_1() override {}
  void not_called_2() override {}
  IZvBaseInterface* get_bus(std::uint64_t) override {
    if (devkit::bus::fails("get_bus")) return nullptr;
    const std::lock_guard guard(mutex_);
    try {
      if (bus_ == nullptr) join();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "the bus can't be had: %s\n", error.what());
      return nullptr;
    }
    return bus_.get();
  }

  /// The bus ends outside the lock, for that takes a while, and what it waits for may ask for a
  /// bus.
  void leave() {
    std::unique_ptr<devkit::os::Library> self;  // first, so that it goes last
    std::unique_ptr<devkit::bus::Bus> bus;
    const std::lock_guard guard(mutex_);
    bus = std::move(bus_);
    self = std::move(self_);
  }

 private:
  void join() {
    namespace os = devkit::os;
    if (self_ == nullptr)
      self_ = std::make_unique<os::Library>(os::own_folder() / os::library_name("msgbus"));
    bus_ = std::make_unique<devkit::bus::Bus>();
  }

  std::mutex mutex_;
  std::unique_ptr<devkit::os::Library> self_;
  std::unique_ptr<devkit::bus::Bus> bus_;
};

ProcessBus& process_bus() {
  static devkit::Immortal<ProcessBus> bus;
  return bus.get();
}

}  // namespace

ABI_EXPORT IBusHost* ZvGetInterface(IID id) {
  if (devkit::bus::fails("ZvGetInterface")) return nullptr;
  return id == IID_IBusHost ? &process_bus() : nullptr;
}

/// For hosts of the kit: takes leave of the bus, after what was sent has gone out; the library can
/// be unloaded then. Nobody may use the bus meanwhile, nor what came from it afterwards, but may
/// ask for a new one.
ABI_EXPORT void SpliceBusLeave() {
  process_bus().leave();
}
