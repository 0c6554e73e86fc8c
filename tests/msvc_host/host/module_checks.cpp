// Drives cloudsplicer.dll, which GCC built, as a host built by another compiler does.

#include "host/module.h"

namespace {

using zvnc::call;

void exports(const module_exports& module) {
  about("The exports:");
  void* out = &out;
  check_same(module.create(L"no_such_plugin", IID_IServPlugin, &out), 1168,
             "an unknown name is not found");
  check(out == nullptr, "and gives null");
  out = &out;
  check_same(module.create(plugin_name, IID_ICloudRequests, &out), 13,
             "an identifier of the plug-in alone is refused");
  check_same(module.create(plugin_name, IID_IServPlugin, nullptr), 13,
             "so is a missing place for the result");
  out = &out;
  check_same(module.create(nullptr, IID_IServPlugin, &out), 13, "so is a missing name");
  check(out == nullptr, "which gives null");

  void* root = nullptr;
  void* again = nullptr;
  check_same(module.create(plugin_name, IID_IZvBaseInterface, &root), 0,
             "the plug-in is made by its root identifier");
  check_same(module.create(plugin_name, IID_IServPlugin, &again), 0, "and by the plug-in's");
  check(root && root == again, "both give the one object");
  module.destroy(plugin_name, again);
  void* facet = static_cast<IZvBaseInterface*>(root)->QueryInterface(IID_ICloudRequests);
  check(facet == root, "which lives on after the first destruction");
  module.destroy(plugin_name, root);
}

// The module's export directory, read as it lies in memory.
void export_names(const library& module) {
  about("The module's list of exports:");
  auto* image = static_cast<const uint8_t*>(module.module());
  const auto at = [image](uint64_t offset) {
    uint32_t value;
    __builtin_memcpy(&value, image + offset, sizeof(value));
    return value;
  };
  constexpr uint32_t new_header = 0x3c;
  constexpr uint32_t directory_of_exports = 0x88;
  const uint32_t directory = at(uint64_t{at(new_header)} + directory_of_exports);
  const uint32_t names = at(uint64_t{directory} + 0x20);
  check_same(at(uint64_t{directory} + 0x18), 2, "it holds two names");
  check_text(reinterpret_cast<const char*>(image) + at(names), "ZvCreateObject", "the creation");
  check_text(reinterpret_cast<const char*>(image) + at(uint64_t{names} + 4), "ZvDestroyObject",
             "and the destruction");
}

// Both refusals leave the count at 1, as an UnInit has to follow them.
void unwilling_hosts(IServPlugin& plugin) {
  about("A host that lacks a service:");
  host_services host;
  host.execution_missing = true;
  check_same(plugin.Init(&host), 87, "without an execution service Init is refused");
  check_text<char>(host.calls, "execution", "and the plug-in manager isn't asked for");
  check_same(plugin.UnInit(), 0, "UnInit takes it back");
  host.execution_missing = false;
  host.manager_missing = true;
  host.calls[0] = 0;
  check_same(plugin.Init(&host), 87, "without a plug-in manager Init is refused");
  check_text<char>(host.calls, "execution manager", "which was asked for second");
  check_same(plugin.UnInit(), 0, "UnInit takes it back");
}

void facets(IServPlugin& plugin, IServPlugin& older) {
  about("The facets of the plug-in:");
  check(plugin.QueryInterface(IID_IServPlugin) == &plugin, "IServPlugin is the object itself");
  check(plugin.QueryInterface(IID_IZvBaseInterface) == &plugin, "so is IZvBaseInterface");
  check(&older != &plugin, "the older interface is a table of its own");
  check(older.QueryInterface(IID_ICloudRequests) == &plugin,
        "from which the object is found again");
  check(plugin.QueryInterface(IID_ProductInfo) == nullptr, "an unknown identifier gives null");
}

void start(const libraries& with, IServPlugin& plugin, IServPlugin& older, host_services& host) {
  about("Start of the plug-in:");
  with.forget();
  check_same(plugin.Init(&host), 0, "Init succeeds with this host");
  check(contains(host.calls, "execution manager"),
        "the host was asked for its execution service, then its manager");
  check(!contains(host.calls, "unused"), "and for nothing through its other slots");
  check_same(with.count(call::init), 2, "the shared and the technology instance were made");
  const zvnc::record* option = with.nth(call::set_option, 0);
  check(option && option->number == 1 && option->value == 1, "option 1 was set first");
  bool registered = false;
  for (uint32_t i = 0; (option = with.nth(call::set_option, i)) != nullptr; ++i) {
    registered |= option->number == 9 && option->callback && option->context == &plugin;
  }
  check(registered, "the cloud-up callback was set, with the object as its context");
  check_same(plugin.Start(), 0, "Start succeeds");

  check_same(older.Init(nullptr), 0, "Init through the older interface succeeds");
  check_same(with.count(call::init), 2, "and only counts");
  check_same(older.UnInit(), 0, "its UnInit succeeds");
  check_same(with.count(call::uninit), 0, "and only counts");
}

void stop(const libraries& with, IServPlugin& plugin) {
  about("End of the plug-in:");
  with.forget();
  plugin.Stop();
  check_same(plugin.UnInit(), 0, "UnInit succeeds");
  check_same(with.count(call::uninit), 3, "all three instances were given back");
  const zvnc::record* option = with.nth(call::set_option);
  check(option && option->number == 10 && option->callback, "the cloud-up callback was removed");
  check(!with.fire_cloud_up(), "and is gone");
}

void logging(const libraries& with) {
  about("Logging:");
  check(with.log_inits() >= 1, "the library was started");
  const log_lines::line* entered = with.line_with(L"cloud::requests::Init()");
  if (check(entered != nullptr, "the start of Init was written")) {
    check(entered->depth == 1 && entered->level == 32, "with depth and level");
    check_text<wchar_t>(entered->function, L"cloud::requests::Init", "the function");
    check_text<wchar_t>(entered->format, L"-> %s", "the format");
    check_text<wchar_t>(entered->text, L"cloud::requests::Init()", "and its argument");
  }
  bool left = false;
  bool plain = false;
  for (uint32_t i = 0; i < with.line_count(); ++i) {
    const log_lines::line& line = *with.line(i);
    left |= line.depth == -1 && line.level == 32 && same<wchar_t>(line.format, L"<- %s [%d]") &&
            same<wchar_t>(line.text, L"cloud::requests::Init()") && line.number >= 0;
    plain |= line.depth == 0 && line.level == 16 && same<wchar_t>(line.format, L"%s") &&
             contains<wchar_t>(line.text, L"service: technology/checks request: ");
  }
  check(left, "the end of Init was written, with its time");
  check(plain, "progress was written as one text");
  const log_lines::line* failed = with.line_with(L"missing data for req type technology 0");
  check(failed && failed->level == 4, "a refusal was written as a failure");
}

bool bears_handle(const libraries& with, const library& module) {
  for (uint32_t i = 0; i < with.line_count(); ++i) {
    if (with.line(i)->module != module.module()) return false;
  }
  return with.line_count() > 0;
}

void whole_life() {
  const libraries with;
  {
    const library loaded(L"cloudsplicer.dll");
    const module_exports module(loaded);
    export_names(loaded);
    exports(module);

    void* out = nullptr;
    check_same(module.create(plugin_name, IID_IServPlugin, &out), 0, "the plug-in is made anew");
    if (!out) return;
    auto& plugin = *static_cast<IServPlugin*>(out);
    auto& requests =
        *static_cast<cloud::ICloudRequests*>(plugin.QueryInterface(IID_ICloudRequests));
    auto& older = *static_cast<cloud::ICloudRequestsCompatibility*>(
        plugin.QueryInterface(IID_ICloudRequestsCompatibility));

    facets(plugin, older);
    unwilling_hosts(plugin);
    host_services host;
    start(with, plugin, older, host);
    connect_requests(with, requests);
    technology_requests(with, requests);
    refused_requests(with, requests);
    uploads(with, requests);
    proxies(with, requests);
    older_interface(with, older);
    observers(with, static_cast<cloud::observable_cloud_requests&>(requests));
    stop(with, plugin);
    check(bears_handle(with, loaded), "every line bears the module's handle");
    module.destroy(plugin_name, plugin.QueryInterface(IID_IZvBaseInterface));
    check_text(with.log_removed(), "logging::CLogDLL::~CLogDLL",
               "the last plug-in's end unbinds the log");
  }
  check(GetModuleHandleW(L"cloudsplicer.dll") == nullptr, "the module can be unloaded");
  logging(with);
}

}  // namespace

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  whole_life();
  ExitProcess(closing_line());
}
