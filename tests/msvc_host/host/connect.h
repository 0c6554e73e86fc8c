#pragma once

#include "host/deadline.h"
#include "host/product_host.h"
#include "msgbus/records.h"
#include "product/connect.h"
#include "product/push.h"

// The libraries of a run with a bus.
struct bus_libraries : libraries {
  library msgbus{L"msgbus.dll"};
  msgbus::count_function* bus_count =
      msgbus.function<msgbus::count_function>("msgbus_record_count");
  msgbus::record_function* bus_record = msgbus.function<msgbus::record_function>("msgbus_record");
  msgbus::forget_function* forget_bus = msgbus.function<msgbus::forget_function>("msgbus_forget");
  msgbus::census_function* bus_census = msgbus.function<msgbus::census_function>("msgbus_census");
  msgbus::refuse_function* bus_refuse = msgbus.function<msgbus::refuse_function>("msgbus_refuse");
  zvnc::push_function* push = zvnc.function<zvnc::push_function>("zvnc_push");
  zvnc::refuse_push_function* refuse_push =
      zvnc.function<zvnc::refuse_push_function>("zvnc_refuse_push");

  // This process's own way to the bus.
  IBus* bus = static_cast<IBus*>(msgbus.function<get_interface>("ZvGetInterface")(IID_IBusHost)
                                     ->get_bus(0)
                                     ->QueryInterface(IID_IBus));

  // The nth record of this kind; null if there are fewer.
  const msgbus::record* nth_on_bus(msgbus::call kind, uint32_t n = 0) const {
    for (uint32_t i = 0; i < bus_count(); ++i) {
      if (bus_record(i)->kind == kind && n-- == 0) return bus_record(i);
    }
    return nullptr;
  }

  uint32_t count_on_bus(msgbus::call kind) const {
    uint32_t found = 0;
    while (nth_on_bus(kind, found)) ++found;
    return found;
  }

  // How often this message was sent, by this kind of call.
  uint32_t sent(msgbus::call kind, const char* message) const {
    uint32_t found = 0;
    for (uint32_t i = 0; const msgbus::record* record = nth_on_bus(kind, i); ++i) {
      found += same<char>(record->message, message);
    }
    return found;
  }

  // Waits until all that was sent has been heard.
  bool bus_is_quiet() const {
    return comes([this] { return bus_census().undelivered == 0; });
  }
};

inline constexpr const wchar_t* integrator_name = L"connect_integrator";
inline constexpr const wchar_t* requests_server_name = L"connect_requests_server";
inline constexpr const wchar_t* push_server_name = L"push_service_server";

inline constexpr const char* actions_channel = "connect.actions";
inline constexpr const char* events_channel = "connect.events";
inline constexpr const char* user_service_channel = "cl.zvserv.actions";
inline constexpr const char* user_service_listener = "product_agent_user_service";

// What this product's applications are called by default, in UTF-8.
inline constexpr const char* default_app_id = "Desktop \xe2\x82\xac";

// A plug-in of the module, from its creation to its destruction.
class own_plugin {
 public:
  own_plugin(const module_exports& module, const wchar_t* name) : module_(module), name_(name) {
    void* out = nullptr;
    if (module.create(name, IID_IServPlugin, &out) != 0 || !out) {
      check(false, "the plug-in is made");
      ExitProcess(closing_line());
    }
    plugin_ = static_cast<IServPlugin*>(out);
  }
  own_plugin(const own_plugin&) = delete;
  own_plugin& operator=(const own_plugin&) = delete;
  ~own_plugin() { module_.destroy(name_, plugin_->QueryInterface(IID_IZvBaseInterface)); }

  IServPlugin* operator->() const { return plugin_; }
  IServPlugin& operator*() const { return *plugin_; }

  template <class Interface>
  Interface* get(const IID& id) const {
    return static_cast<Interface*>(plugin_->QueryInterface(id));
  }

 private:
  module_exports module_;
  const wchar_t* name_;
  IServPlugin* plugin_;
};

inline uint64_t distance(const void* from, const void* to) {
  return static_cast<uint64_t>(static_cast<const uint8_t*>(to) - static_cast<const uint8_t*>(from));
}

// Whether each client instance that was made since the last forgetting was given back.
inline bool instances_are_back(const libraries& with) {
  return with.count(zvnc::call::init) != 0 &&
         with.count(zvnc::call::init) == with.count(zvnc::call::uninit);
}

// Nothing of the bus is held any more, and it was never called in a wrong way.
inline void check_bus_is_left(const bus_libraries& with) {
  check(with.bus_is_quiet(), "all messages were heard");
  const msgbus::census left = with.bus_census();
  check_same(static_cast<uint32_t>(left.messages), 0, "each message was released");
  check_same(static_cast<uint32_t>(left.subscriptions), 0, "each subscription ended");
  check_same(static_cast<uint32_t>(left.observers), 0, "each observer was taken away");
  check_same(static_cast<uint32_t>(left.listeners), 0, "each listener was withdrawn");
  check_same(static_cast<uint32_t>(left.wrong_calls), 0, "nothing was called in a wrong way");
}
