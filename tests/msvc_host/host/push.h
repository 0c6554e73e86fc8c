#pragma once

#include "events/records.h"
#include "host/connect.h"
#include "runtime/lock.h"

struct push_libraries : bus_libraries {
  library ecevents{L"ecevents.dll"};
  events::count_function* event_count =
      ecevents.function<events::count_function>("events_record_count");
  events::record_function* event = ecevents.function<events::record_function>("events_record");
};

// What callbacks of this host were given, copied out of it. Its address is their context.
class heard {
 public:
  struct entry {
    char name[64];
    char params[64];
    char app_id[64];
    char device_id[64];  // of an event
    char id[64];         // of a command
    int64_t timestamp;
    uint32_t thread;
  };

  static void on_event(const cloud::push::event_info& event, void* context);
  static void on_command(const cloud::push::command_info& command, void* context);

  uint32_t count() const { return static_cast<uint32_t>(read(count_)); }
  // Of the nth, which must be there.
  const entry& at(uint32_t n) const { return entries_[n]; }
  const entry& last() const { return entries_[count() - 1]; }
  void forget() { count_ = 0; }

 private:
  static constexpr uint32_t most = 16;
  void add(const entry& added);

  mutex lock_;
  int32_t count_ = 0;
  entry entries_[most] = {};
};

// Texts as the cloud pushes them.
struct pushed_text {
  char text[512] = {};
};
pushed_text event_text(const char* app_id, const char* name, const char* params);
pushed_text command_text(const char* app_id, const char* command, const char* id);
inline constexpr int64_t pushed_timestamp = 5'000'000'001;

// A source of the application alone.
cloud::connect_source source_of(const char* app_id);

// The groups of checks, each from Init to UnInit.
void service_without_user(const push_libraries& with, const module_exports& module);
void service_of_pushes(const push_libraries& with, const module_exports& module);
void server_of_pushes(const push_libraries& with, const module_exports& module);
void client_of_pushes(const push_libraries& with, const module_exports& module);
