// A message bus that has only its door: it records who comes through.

#include "support/msgbus_probe.h"

#include <cstdint>

#include "frame/get_msgbus.h"

namespace {

support::msgbus_probe_record record_{};

/// What the host gives for 0.
class bus_facade final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID& id) override {
    ++record_.queries;
    record_.bus_id = id;
    return record_.refuses_query ? nullptr : &record_.the_bus;
  }
};

class host final : public IBusHost {
 public:
  void not_called_0() override { ++record_.wrong_calls; }
  void not_called_1() override { ++record_.wrong_calls; }
  void not_called_2() override { ++record_.wrong_calls; }
  IZvBaseInterface* get_bus(std::uint64_t zero) override {
    ++record_.host_calls;
    record_.host_argument = zero;
    return record_.refuses_host_call ? nullptr : &facade_;
  }

 private:
  bus_facade facade_;
};

host the_host;

}  // namespace

ABI_EXPORT void* ZvGetInterface(IID id) {
  ++record_.door_calls;
  record_.door_id = id;
  return record_.refuses_door ? nullptr : static_cast<IBusHost*>(&the_host);
}

ABI_EXPORT support::msgbus_probe_record* MsgbusProbeRecord() {
  return &record_;
}
