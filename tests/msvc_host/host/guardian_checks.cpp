// The guardian of cloudsplicer.dll, seen from outside only: requests, its files, and the events
// that it posts. The process is an elevated one, so that all files lie below the module.

#include "host/deadline.h"
#include "host/guardian.h"

namespace {

using zvnc::call;

// What the guardian finds by its name in this program's exports.
const wchar_t* service_name = nullptr;

void check_field(const events::record& event, const wchar_t* name, const wchar_t* expected,
                 const char* sentence) {
  check_text(event.value(name), expected, sentence);
}

void check_common_part(const events::record& event, const wchar_t* throttling) {
  check_text<wchar_t>(event.name, L"m_cloud_guardian_report", "its name");
  check_text<wchar_t>(event.version, L"1.0", "its version");
  check_same(event.type, 31, "its type");
  check(event.flag && event.zero == 0, "posted with true and with 0");
  check_field(event, L"strings", L"4", "has four texts:");
  check_field(event, L"strings/report_type", L"throttling", "report_type");
  check_field(event, L"strings/service", wide_first_service, "service");
  check_field(event, L"strings/throttling", throttling, "throttling");
  check_field(event, L"lists", L"0", "It has no lists of texts");
}

void check_enabled_report(const guardian_libraries& with) {
  about("The report of the circuit's opening:");
  check_same(with.event_count(), 1, "one event was posted");
  check_text(with.event_calls(), "Create Init(null) Start post Stop UnInit Destroy(root)",
             "in one life of the events plug-in");
  const events::record* event = with.event(0);
  if (!event) return;
  check_common_part(*event, L"enabled");
  check_field(*event, L"strings/process_name", L"guardian_host",
              "process_name, from this program's file");
  check_field(*event, L"integers", L"0", "no integers");
  check_field(*event, L"child_lists/errors[0]/strings/method", L"list", "the first failure");
  check_field(*event, L"child_lists/errors[0]/strings/field", L"zvnc.status", "its field");
  check_field(*event, L"child_lists/errors[0]/strings/value", L"20011", "its value");
  check_field(*event, L"child_lists/errors[1]/strings/method", L"get \x20ac", "the second");
  check_field(*event, L"child_lists/errors[2]/strings/method", L"set", "the third");
  check_field(*event, L"child_lists/errors[2]/strings/value", L"20011", "with its value");
  // Three counts and four texts, and three counts and three texts of each failure.
  check_same(event->used, 25, "and nothing else");
}

void check_disabled_report(const guardian_libraries& with, uint32_t blocked) {
  about("The report of the circuit's closing:");
  check_same(with.event_count(), 1, "one event was posted");
  const events::record* event = with.event(0);
  if (!event) return;
  check_common_part(*event, L"disabled");
  check_field(*event, L"strings/process_name", L"checks \x20ac",
              "process_name, as this program's export names it");
  check_field(*event, L"integers", L"2", "two integers:");
  wchar_t digits[] = {static_cast<wchar_t>(L'0' + blocked / 100 % 10),
                      static_cast<wchar_t>(L'0' + blocked / 10 % 10),
                      static_cast<wchar_t>(L'0' + blocked % 10), 0};
  const wchar_t* number = digits;
  while (*number == L'0' && number[1]) ++number;
  check_field(*event, L"integers/blocked_requests", number, "blocked_requests, as many as refused");
  check_field(*event, L"integers/allowed_requests", L"4", "allowed_requests, all that passed");
  check_same(event->used, 9, "and nothing else");
}

// Until a request passes; counts the refused ones.
cloud::request_status send_after_break(cloud::ICloudRequests& requests, uint32_t& refused) {
  const deadline end;
  cloud::request_status status = send(requests, first_service);
  for (; is_refusal(status) && !end.over(); status = send(requests, first_service)) {
    ++refused;
    Sleep(50);
  }
  return status;
}

}  // namespace

extern "C" __declspec(dllexport) const wchar_t* GetServiceName() {
  return service_name;
}

cloud::request_status send(cloud::ICloudRequests& requests, const char* service,
                           const char* method) {
  cloud::connect_request request;
  request.service = service;
  request.request_method = method;
  request.message = "{}";
  cloud::request_reply reply;
  return requests.resolve(request, reply);
}

void begin_anew(const char* seconds) {
  remove_file(services_file);
  remove_file(cache_file);
  make_folder(L"settings");
  char text[1024] =
      "{\"storage_folder\": \"of_users\", \"admin_storage_folder\": \"guarded\", "
      "\"storage_filename\": \"services.json\", \"config_storage_filename\": \"cache.json\", "
      "\"circuit_config\": {\"threshold\": 3, \"reset_threshold\": 1000000000, "
      "\"intervals\": [{\"min\": ";
  append_text(text, seconds);
  append_text(text, ", \"max\": ");
  append_text(text, seconds);
  append_text(text, "}]}, \"services\": [\"guarded/\xe2\x82\xac\", \"guarded/two\"]}");
  write_file(L"settings\\cloud_guardian_settings.json", text);
}

void life_of_a_circuit(const guardian_libraries& with, const requests_plugin& of) {
  about("A circuit opens, without a host:");
  begin_anew("1");
  with.forget_events();
  service_name = nullptr;
  check_same(of.plugin->Init(nullptr), 0, "Init succeeds");
  with.answer(server_failure, "");
  check_status(send(*of.requests, first_service, "list"), 2, server_failure, "a request fails");
  check_status(send(*of.requests, first_service, "get \xe2\x82\xac"), 2, server_failure, "another");
  check(contains<char>(file_text(services_file).text, "\"counter\":2,"), "both are in the file");
  check(contains<char>(file_text(services_file).text, "\"state\":0"), "its circuit being closed");
  check_same(with.event_count(), 0, "nothing was posted so far");
  check_status(send(*of.requests, first_service, "set"), 2, server_failure, "the third fails too");
  check(contains<char>(file_text(services_file).text, "{\"guarded/\xe2\x82\xac\":{\"allowed\":0,"),
        "the file has the service by its name");
  check(contains<char>(file_text(services_file).text, "\"state\":1}"), "and its circuit is open");
  check_enabled_report(with);

  about("After the break:");
  with.forget();
  with.forget_events();
  service_name = L"checks \x20ac";
  with.answer(0, "{\"result\": 1}");
  uint32_t refused = 0;
  check_status(send_after_break(*of.requests, refused), 0, 0, "a probe passes");
  check_same(with.count(call::ask), 1, "it alone was sent");
  check(contains<char>(file_text(services_file).text, "\"state\":2}"), "the circuit is half open");
  check_status(send_after_break(*of.requests, refused), 0, 0, "a second probe passes");
  check_status(send_after_break(*of.requests, refused), 0, 0, "a third");
  check(contains<char>(file_text(services_file).text, "\"state\":2}"), "it is half open still");
  check_same(with.event_count(), 0, "nothing was posted meanwhile");
  check_status(send_after_break(*of.requests, refused), 0, 0, "a fourth");
  check(contains<char>(file_text(services_file).text, "\"state\":0}"), "the circuit is closed");
  check_disabled_report(with, refused);
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
}

void circuits_of_a_file(const guardian_libraries& with, const requests_plugin& of) {
  about("Circuits are read from the file, and a host without a querier will do:");
  begin_anew("300");
  write_file(services_file,
             "{\"guarded/two\": {\"state\": 2, \"counter\": 0, \"index\": 0, \"errors\": [], "
             "\"next_request_time\": 4102444800, \"blocked\": 41, \"allowed\": 1}}");
  host_services host;
  with.forget();
  with.forget_events();
  check_same(of.plugin->Init(&host), 0, "Init succeeds");
  check_text<char>(host.calls, "execution manager manager execution make get_plugin release",
                   "the queue that was made for the querier was given back");
  with.answer(server_failure, "");
  check_status(send(*of.requests, second_service), 1, 5,
               "a half open circuit refuses in its break");
  check(contains<char>(file_text(services_file).text, "\"blocked\":42,"), "and counts it");
  for (uint32_t i = 0; i < 3; ++i) send(*of.requests, first_service);
  check_same(with.count(call::ask), 3, "another service is asked until its circuit opens");
  check_same(with.event_count(), 1, "which is reported");
  check_status(send(*of.requests, first_service), 1, 5, "then it is refused too");
  cloud::technology_request technology;
  technology.service = first_service;
  cloud::request_reply reply;
  check_status(of.requests->resolve(technology, reply), 1, 5, "as a technology request");
  cloud::upload_request upload;
  upload.service = first_service;
  upload.path = "C:\\file";
  check_same(of.requests->resolve(upload, nullptr), 5, "and as an upload");
  check_same(with.count(call::ask) + with.count(call::upload), 3, "without being sent");
  check(with.line_with(L"open circuit for service guarded/two") != nullptr, "the log tells why");
  check_status(send(*of.requests, "free"), 2, server_failure, "a service without a circuit passes");
  check(!contains<char>(file_text(services_file).text, "free"), "and gets none");
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
}

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  make_folder(L"guarded");
  {
    const guardian_libraries with;
    {
      const library loaded(L"cloudsplicer.dll");
      const requests_plugin of{module_exports(loaded)};
      life_of_a_circuit(with, of);
      circuits_of_a_file(with, of);
      configuration_from_the_cloud(with, of);
      task_that_never_ran(with, of);
    }
    check(GetModuleHandleW(L"cloudsplicer.dll") == nullptr, "the module can be unloaded");
    check(GetModuleHandleW(L"iservconfig.dll") == nullptr,
          "an elevated process has no need of the product's configuration");
  }
  check(GetModuleHandleW(L"ecevents.dll") == nullptr, "it kept no hold of the events library");
  ExitProcess(closing_line());
}
