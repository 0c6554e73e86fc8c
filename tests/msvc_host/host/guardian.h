#pragma once

#include "events/records.h"
#include "host/files.h"
#include "host/module.h"

// The libraries of a run with a guardian. The service names and files of its settings are below.
struct guardian_libraries : libraries {
  library ecevents{L"ecevents.dll"};

  events::count_function* event_count =
      ecevents.function<events::count_function>("events_record_count");
  events::record_function* event = ecevents.function<events::record_function>("events_record");
  events::calls_function* event_calls = ecevents.function<events::calls_function>("events_calls");
  events::forget_function* forget_events =
      ecevents.function<events::forget_function>("events_forget");
  events::refuse_function* refuse_events =
      ecevents.function<events::refuse_function>("events_refuse");

  // The report about this service; null if there is none.
  const events::record* report_on(const wchar_t* service) const {
    for (uint32_t i = 0; i < event_count(); ++i) {
      if (same(event(i)->value(L"strings/service"), service)) return event(i);
    }
    return nullptr;
  }
};

inline constexpr const wchar_t* services_file = L"guarded\\services.json";
inline constexpr const wchar_t* cache_file = L"guarded\\cache.json";

// The first is written in the settings and the files as it is here, in UTF-8.
inline constexpr const char* first_service = "guarded/\xe2\x82\xac";
inline constexpr const wchar_t* wide_first_service = L"guarded/\x20ac";
inline constexpr const char* second_service = "guarded/two";
inline constexpr const wchar_t* wide_second_service = L"guarded/two";

// Sends a request whose answer the client library was told before.
cloud::request_status send(cloud::ICloudRequests& requests, const char* service,
                           const char* method = "list");
inline bool is_refusal(cloud::request_status status) {
  return status.error_type == 1 && status.code == 5;
}

// The client library fails each request with this number: a server in trouble.
inline constexpr uint32_t server_failure = 20011;

// Removes what the guardian keeps, and writes its settings: 3 failures open a circuit, whose breaks
// have these seconds.
void begin_anew(const char* seconds);

// The groups of checks, each from Init to UnInit.
void life_of_a_circuit(const guardian_libraries& with, const requests_plugin& of);
void circuits_of_a_file(const guardian_libraries& with, const requests_plugin& of);
void configuration_from_the_cloud(const guardian_libraries& with, const requests_plugin& of);
void task_that_never_ran(const guardian_libraries& with, const requests_plugin& of);
