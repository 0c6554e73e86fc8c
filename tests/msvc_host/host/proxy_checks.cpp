// The proxy client of a service process, and what its settings lead to in the client library.

#include "host/files.h"
#include "host/module.h"
#include "proxy_client/exports.h"

namespace {

using zvnc::call;

constexpr const wchar_t* app_service = L"services\\zvappservice.dll";
constexpr const wchar_t* core_service = L"services\\zvauxiliaryservice.dll";

constexpr const char* proxy_text = "proxy.\xe2\x82\xac:3128";

const libraries* shown;
char calls[512];

// A word for each call; once an instance of the client library is gone, with a mark.
void hear(const char* call) {
  if (calls[0]) append_text(calls, " ");
  append_text(calls, call);
  if (shown->count(call::uninit) != 0) append_text(calls, "!");
}

struct proxy_libraries : libraries {
  library client{L"proxy.msgbus.client.dll"};

  proxy_client::answers* answers =
      client.function<proxy_client::answers_function>("proxy_answers")();
  proxy_client::observer_function* observer =
      client.function<proxy_client::observer_function>("proxy_observer");

  proxy_libraries() {
    shown = this;
    client.function<proxy_client::on_call_function>("proxy_on_call")(hear);
  }

  // The nth proxy that was set or taken away since the last forgetting.
  const zvnc::record* proxy(uint32_t n) const {
    const zvnc::record* option;
    for (uint32_t i = 0; (option = nth(call::set_option, i)) != nullptr; ++i) {
      if ((option->number == 12 || option->number == 39) && n-- == 0) return option;
    }
    return nullptr;
  }
};

void lay_down_answers(const proxy_libraries& with) {
  proxy_client::answers& answers = *with.answers;
  answers = {};
  answers.takes_observer = true;
  answers.enabled = true;
  answers.type = 0x80000007;
  answers.info.type = 2;
  copy_text(answers.info.host, L"proxy.\x20ac");
  answers.info.port = 3128;
  copy_text(answers.info.user, L"us\xe9r");
  copy_text(answers.info.password, L"pass \x20ac");
}

void check_proxy(const zvnc::record* option, uint32_t number, const char* sentence) {
  if (!check(option && option->number == number, sentence)) return;
  check_text<char>(option->first, proxy_text, "with host and port");
  check_text<char>(option->second, "us\xc3\xa9r", "the user");
  check_text<char>(option->third, "pass \xe2\x82\xac", "and the password");
}

void check_no_proxy(const zvnc::record* option, uint32_t number, const char* sentence) {
  check(option && option->number == number && !option->first[0] && !option->second[0] &&
            !option->third[0],
        sentence);
}

void check_disabled(const proxy_libraries& with) {
  check_no_proxy(with.proxy(0), 12, "the shared instance has no proxy");
  check_no_proxy(with.proxy(1), 39, "nor has the technology instance");
  check_no_proxy(with.proxy(2), 39, "nor the service's own");
  check(!with.proxy(3), "nothing else was set");
}

void make_service_instance(const proxy_libraries& with, cloud::ICloudRequests& requests) {
  with.forget();
  with.answer(0, "[1]");
  cloud::technology_request request;
  request.service = "own";
  cloud::request_reply reply;
  check_status(requests.resolve(request, reply), 0, 0, "a service gets an instance of its own");
  check_proxy(with.proxy(0), 39, "which has the proxy too");
}

struct told_change {
  ProxyManager::IProxyMgrEvents* observer;
  uint32_t result;
};

uint32_t run_change(void* argument) {
  auto& told = *static_cast<told_change*>(argument);
  told.result = told.observer->OnProxySettingsChanged();
  return 0;
}

// On another thread, as a client does.
void tell(ProxyManager::IProxyMgrEvents* observer) {
  told_change told{observer, 77};
  void* thread = CreateThread(nullptr, 0, run_change, &told, 0, nullptr);
  check_same(WaitForSingleObject(thread, 60'000), 0, "the client's thread comes back");
  CloseHandle(thread);
  check_same(told.result, 0, "with 0");
}

void begin(const proxy_libraries& with) {
  with.forget();
  calls[0] = 0;
}

void changes(const proxy_libraries& with, const char* all_asked) {
  about("A change of the settings, through the observer's first slot:");
  begin(with);
  with.answers->enabled = false;
  tell(with.observer());
  check_text<char>(calls, "enabled", "the client is asked again, a proxy being out of use now");
  check_disabled(with);
  check(with.line_with(L"Proxy usage disabled") != nullptr, "the log tells so");

  begin(with);
  with.answers->enabled = true;
  tell(with.observer());
  check_text<char>(calls, all_asked, "a proxy in use is asked for");
  check_proxy(with.proxy(0), 12, "the shared instance has it again");
  check_proxy(with.proxy(1), 39, "and the technology instance");
  check_proxy(with.proxy(2), 39, "and the service's own");

  begin(with);
  with.answers->info_status = 1460;
  tell(with.observer());
  check_text<char>(calls, all_asked, "a client that can't tell is asked");
  check_disabled(with);
  with.answers->info_status = 0;

  begin(with);
  ProxyManager::IProxyMgrEvents& observer = *with.observer();
  check_same(observer.ignored_1() + observer.ignored_2() + observer.ignored_3(), 0,
             "the other three slots return 0");
  check(with.record_count() == 0 && !calls[0], "and do nothing");
}

void end(const proxy_libraries& with, const requests_plugin& of) {
  about("End of the plug-in:");
  begin(with);
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  check_text<char>(calls, "remove shutdown Stop UnInit Destroy(root)",
                   "the client goes in its order, before all instances");
  check_same(with.count(call::uninit), 3, "which are given back after it");
  check(!with.proxy(0), "no proxy is taken away for that");
}

void app_process(const proxy_libraries& with, const requests_plugin& of) {
  about("A process beside the application service:");
  write_file(app_service, "");
  lay_down_answers(with);
  begin(with);
  check_same(of.plugin->Init(nullptr), 0, "Init succeeds");
  check_text<char>(calls,
                   "Create(app) Init(null) Start initialize(cl.zvappsrv.actions) add enabled type "
                   "get(type)",
                   "its client is loaded, observed and asked, through their slots");
  check_proxy(with.proxy(0), 12, "the shared instance has the proxy");
  check_proxy(with.proxy(1), 39, "and the technology instance, whose server is a separate one");
  check(!with.proxy(2), "there are no others");
  make_service_instance(with, *of.requests);
  changes(with, "enabled type get(type)");
  end(with, of);
  remove_file(app_service);
}

void core_process(const proxy_libraries& with, const requests_plugin& of) {
  about("A process beside the auxiliary service:");
  write_file(core_service, "");
  lay_down_answers(with);
  begin(with);
  check_same(of.plugin->Init(nullptr), 0, "Init succeeds");
  check_text<char>(calls,
                   "Create(core) Init(null) Start initialize(cl.zvauxsrv.actions) add enabled get",
                   "its client is loaded, observed and asked, through their slots");
  check_proxy(with.proxy(0), 12, "the shared instance has the proxy");
  make_service_instance(with, *of.requests);
  changes(with, "enabled get");
  end(with, of);

  about("A client that takes no observer:");
  lay_down_answers(with);
  with.answers->takes_observer = false;
  begin(with);
  check_same(of.plugin->Init(nullptr), 0, "Init succeeds");
  check_text<char>(calls, "Create(core) Init(null) Start initialize(cl.zvauxsrv.actions) add",
                   "it isn't asked");
  check(!with.proxy(0), "and no proxy is set");
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  remove_file(core_service);
}

void other_process(const proxy_libraries& with, const requests_plugin& of) {
  about("A process beside neither service:");
  begin(with);
  check_same(of.plugin->Init(nullptr), 0, "Init succeeds");
  check(!calls[0] && !with.proxy(0), "no client is loaded");
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
}

}  // namespace

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  make_folder(L"services");
  remove_file(app_service);
  remove_file(core_service);
  {
    const proxy_libraries with;
    {
      const library loaded(L"cloudsplicer.dll");
      const requests_plugin of{module_exports(loaded)};
      other_process(with, of);
      app_process(with, of);
      core_process(with, of);
    }
    check(GetModuleHandleW(L"cloudsplicer.dll") == nullptr, "the module can be unloaded");
  }
  check(GetModuleHandleW(L"proxy.msgbus.client.dll") == nullptr,
        "it kept no hold of the client's library");
  ExitProcess(closing_line());
}
