// A configuration that comes from the cloud, by way of this host's plug-in and queue.

#include "host/deadline.h"
#include "host/guardian.h"
#include "product/guardian.h"

namespace {

using zvnc::call;

// This host's "cloud_guardian_querier". What get_settings returns is nothing that the module reads.
class querier final : public ICloudGuardianQuerier {
 public:
  querier(host_services& host, const char* settings) : host_(host), settings_(settings) {}

  void* QueryInterface(const IID&) override { return nullptr; }
  uint32_t get_settings(zv::StringT<char>& settings) override {
    host_.note(settings.is_null() ? "get_settings" : "get_settings(?)");
    settings = settings_;
    return 0xdeadbeef;
  }
  bool add_observer(ICloudGuardianSettingsObserver* added, uint64_t context) override {
    host_.note(context == 0 && !observer ? "add" : "add(?)");
    observer = added;
    return true;
  }
  bool remove_observer(ICloudGuardianSettingsObserver* removed, uint64_t context) override {
    host_.note(context == 0 && removed == observer ? "remove" : "remove(?)");
    observer = nullptr;
    return true;
  }

  ICloudGuardianSettingsObserver* observer = nullptr;

 private:
  host_services& host_;
  const char* settings_;
};

constexpr const char* first_settings =
    "{\"circuit_config\": {\"threshold\": 2, \"intervals\": [{\"min\": 300, \"max\": 300}], "
    "\"reset_threshold\": 1000000001}, \"services\": [\"guarded/\xe2\x82\xac\"], \"more\": 1}";
constexpr const char* first_cache =
    "{\"circuit_config\":{\"intervals\":[{\"max\":300,\"min\":300}],\"reset_threshold\":1000000001,"
    "\"threshold\":2},\"services\":[\"guarded/\xe2\x82\xac\"]}";

constexpr const char* second_settings =
    "{\"circuit_config\": {\"threshold\": 5, \"intervals\": [], \"reset_threshold\": 7}, "
    "\"services\": []}";
constexpr const char* second_cache =
    "{\"circuit_config\":{\"intervals\":[],\"reset_threshold\":7,\"threshold\":5},"
    "\"services\":[]}";

struct change {
  ICloudGuardianSettingsObserver* observer;
  const char* settings;
};

uint32_t run_change(void* argument) {
  const auto& told = *static_cast<change*>(argument);
  told.observer->OnSettingsChanged(told.settings);
  return 0;
}

// On another thread, as a querier does.
void tell(ICloudGuardianSettingsObserver* observer, const char* settings) {
  change told{observer, settings};
  void* thread = CreateThread(nullptr, 0, run_change, &told, 0, nullptr);
  check_same(WaitForSingleObject(thread, 60'000), 0, "the querier's thread comes back");
  CloseHandle(thread);
}

void expect_task(host_services& host) {
  host.task_name = L"cloud_config_init";
  host.keeps_task = true;
}

void check_closing(const guardian_libraries& with, const wchar_t* service, const wchar_t* blocked,
                   const char* sentence) {
  const events::record* event = with.report_on(service);
  if (!check(event != nullptr, sentence)) return;
  check_text(event->value(L"strings/throttling"), L"disabled", "as disabled");
  check_text(event->value(L"integers/blocked_requests"), blocked, "with what was refused");
}

// The module may hear of its own change of the cache late, and begins all circuits anew then, so
// no exact count of failures opens this one.
void open_circuit(const guardian_libraries& with, cloud::ICloudRequests& requests) {
  with.answer(server_failure, "");
  const deadline end;
  bool refused = false;
  while (!refused && !end.over()) refused = is_refusal(send(requests, first_service));
  check(refused, "failures open a circuit by its rules");
  check(contains<char>(file_text(services_file).text, "\"state\":1}"), "as the file shows");
}

void initial_configuration(const guardian_libraries& with, const requests_plugin& of,
                           host_services& host, querier& asked) {
  about("A configuration from the cloud:");
  check_status(send(*of.requests, first_service), 1, 5,
               "before it is asked for, a circuit is open");
  check_same(with.event_count(), 0, "and the last process's circuits are no news");
  host.calls[0] = 0;
  host_manager = {};
  check(host.run_kept_task(), "the task of the queue runs");
  check_text<char>(host.calls, "add get_settings", "it observes the querier, then asks it");
  check(host_manager.allocate == 2 && host_manager.free == 2 && host_manager.release == 1,
        "the text that the querier filled went back to this host's memory manager");
  check(asked.observer != nullptr, "the observer is a table of the module");
  check_text<char>(file_text(cache_file).text, first_cache, "the cache has the configuration");
  check(!contains<char>(file_text(services_file).text, "\"state\":1") &&
            !contains<char>(file_text(services_file).text, "\"state\":2"),
        "all circuits are closed in the file");
  check_same(with.event_count(), 2, "two circuits were reported");
  check_closing(with, wide_first_service, L"4", "the open one");
  check_closing(with, wide_second_service, L"42", "and the half open one");
  with.forget();
  with.answer(0, "{\"result\": 1}");
  check_status(send(*of.requests, first_service), 0, 0, "its requests pass");
  check_same(with.count(call::ask), 1, "and are sent");
}

void changed_configuration(const guardian_libraries& with, const requests_plugin& of,
                           querier& asked) {
  about("A change of the configuration, through the observer's second slot:");
  tell(asked.observer, "no configuration");
  check(with.line_with(L"load_config_from_string err=1006") != nullptr, "a wrong one is logged");
  tell(asked.observer, first_settings);
  check(with.line_with(L"same config") != nullptr, "the same one again is none");
  check_text<char>(file_text(cache_file).text, first_cache, "and the cache stays as it was");
  open_circuit(with, *of.requests);
  with.forget_events();
  with.refuse_events(1223);
  tell(asked.observer, second_settings);
  check_text<char>(file_text(cache_file).text, second_cache, "the cache has the new one");
  check(contains<char>(file_text(services_file).text, "\"state\":0}") &&
            !contains<char>(file_text(services_file).text, "\"state\":1}"),
        "the circuit is closed");
  check_same(with.event_count(), 1, "and reported");
  check(with.line_with(L"Failed to post event; err = 1223") != nullptr,
        "what post returned is in the log");
  with.refuse_events(0);
  bool passed = true;
  for (uint32_t i = 0; i < 6; ++i) passed &= !is_refusal(send(*of.requests, first_service));
  check(passed, "a service that isn't among the new ones is never refused");
}

}  // namespace

void configuration_from_the_cloud(const guardian_libraries& with, const requests_plugin& of) {
  host_services host;
  expect_task(host);
  querier asked(host, first_settings);
  host.querier = static_cast<IZvBaseInterface*>(&asked);
  with.forget();
  with.forget_events();
  about("A host with a querier:");
  check_same(of.plugin->Init(&host), 0, "Init succeeds");
  check_text<char>(host.calls, "execution manager manager execution make get_plugin enqueue",
                   "the querier is taken, and the asking left to the queue");
  initial_configuration(with, of, host, asked);
  changed_configuration(with, of, asked);

  host.calls[0] = 0;
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  check_text<char>(host.calls, "release remove release_plugin",
                   "queue, observer and querier are given back in this order");
}

void task_that_never_ran(const guardian_libraries& with, const requests_plugin& of) {
  about("A queue that is given back with its task:");
  host_services host;
  expect_task(host);
  querier asked(host, first_settings);
  host.querier = static_cast<IZvBaseInterface*>(&asked);
  with.forget();
  check_same(of.plugin->Init(&host), 0, "Init succeeds");
  host.calls[0] = 0;
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  check_text<char>(host.calls, "release remove(?) release_plugin",
                   "the querier was neither asked nor observed, but is told all the same");
  check(!host.run_kept_task(), "the task is gone");
}
