// Pushes, seen from outside only: from the cloud client to callbacks of this host, and over the
// bus.

#include "host/push.h"

void heard::add(const entry& added) {
  const lock_guard guard(lock_);
  if (count() == most) return;
  entries_[count_] = added;
  entries_[count_].thread = GetCurrentThreadId();
  add_to(count_, 1);
}

void heard::on_event(const cloud::push::event_info& event, void* context) {
  entry added{};
  copy_text(added.name, event.name.text());
  copy_text(added.params, event.params.text());
  copy_text(added.app_id, event.destination_app_id.text());
  copy_text(added.device_id, event.destination_device_id.text());
  added.timestamp = event.timestamp;
  static_cast<heard*>(context)->add(added);
}

void heard::on_command(const cloud::push::command_info& command, void* context) {
  entry added{};
  copy_text(added.name, command.name.text());
  copy_text(added.params, command.params.text());
  copy_text(added.app_id, command.destination_app_id.text());
  copy_text(added.id, command.id.text());
  added.timestamp = command.timestamp;
  static_cast<heard*>(context)->add(added);
}

namespace {

template <size_t count>
pushed_text joined(const char* const (&parts)[count]) {
  pushed_text result;
  for (const char* part : parts) append_text(result.text, part);
  return result;
}

}  // namespace

pushed_text event_text(const char* app_id, const char* name, const char* params) {
  const char* const parts[] = {"{\"app_fields\": {\"connect_target\": {\"app_id\": \"",
                               app_id,
                               "\", \"device_id\": \"far device\"}, \"event\": \"",
                               name,
                               "\", \"timestamp\": 5000000001, \"event_params\": ",
                               params,
                               "}}"};
  return joined(parts);
}

pushed_text command_text(const char* app_id, const char* command, const char* id) {
  const char* const parts[] = {"{\"command\": \"", command, "\", \"command_id\": \"", id,
                               "\", \"command_params\": {\"x\": 1}}"};
  return event_text(app_id, "command", joined(parts).text);
}

cloud::connect_source source_of(const char* app_id) {
  cloud::connect_source source;
  source.app_id = app_id;
  return source;
}

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  {
    const push_libraries with;
    {
      const library loaded(L"cloudsplicer.dll");
      const module_exports module(loaded);
      service_without_user(with, module);
      service_of_pushes(with, module);
      server_of_pushes(with, module);
      client_of_pushes(with, module);
    }
    about("At the end:");
    check(!GetModuleHandleW(L"cloudsplicer.dll"), "the module can be unloaded");
    check_bus_is_left(with);
    check_same(with.count(zvnc::call::bound_only), 0, "no other function of the client was called");
  }
  ExitProcess(closing_line());
}
