#pragma once

#include "host/check.h"
#include "host/library.h"
#include "host/services.h"
#include "host/strings.h"
#include "log/lines.h"
#include "product/cloud.h"
#include "zvnc/records.h"

// The libraries of one run, and the calls that they offer.
struct libraries {
  library zvnc{L"zvnc.dll"};
  library log{L"log.dll"};

  zvnc::count_function* record_count = zvnc.function<zvnc::count_function>("zvnc_record_count");
  zvnc::record_function* record = zvnc.function<zvnc::record_function>("zvnc_record");
  zvnc::forget_function* forget = zvnc.function<zvnc::forget_function>("zvnc_forget");
  zvnc::answer_function* answer = zvnc.function<zvnc::answer_function>("zvnc_answer");
  zvnc::status_function* cloud_status = zvnc.function<zvnc::status_function>("zvnc_cloud_status");
  zvnc::fire_function* fire_cloud_up = zvnc.function<zvnc::fire_function>("zvnc_fire_cloud_up");

  log_lines::count_function* line_count = log.function<log_lines::count_function>("log_line_count");
  log_lines::line_function* line = log.function<log_lines::line_function>("log_line");
  log_lines::inits_function* log_inits = log.function<log_lines::inits_function>("log_inits");
  log_lines::removed_function* log_removed =
      log.function<log_lines::removed_function>("log_removed");

  // The nth record of this kind; null if there are fewer.
  const zvnc::record* nth(zvnc::call kind, uint32_t n = 0) const {
    for (uint32_t i = 0; i < record_count(); ++i) {
      if (record(i)->kind == kind && n-- == 0) return record(i);
    }
    return nullptr;
  }

  uint32_t count(zvnc::call kind) const {
    uint32_t found = 0;
    while (nth(kind, found)) ++found;
    return found;
  }

  // A line with this text, the first of those that came after `from` others; null if there is none.
  const log_lines::line* line_with(const wchar_t* text, uint32_t from = 0) const {
    for (uint32_t i = from; i < line_count(); ++i) {
      if (contains(line(i)->text, text)) return line(i);
    }
    return nullptr;
  }
};

struct module_exports {
  explicit module_exports(const library& module)
      : create(module.function<create_object>("ZvCreateObject")),
        destroy(module.function<destroy_object>("ZvDestroyObject")) {}
  create_object* create;
  destroy_object* destroy;
};

inline constexpr const wchar_t* plugin_name = L"cloud_requests";

// A "cloud_requests" of the module, from its creation to its destruction.
class requests_plugin {
 public:
  explicit requests_plugin(const module_exports& module) : module_(module) {
    void* out = nullptr;
    check_same(module.create(plugin_name, IID_IServPlugin, &out), 0, "the plug-in is made");
    if (!out) ExitProcess(closing_line());
    plugin = static_cast<IServPlugin*>(out);
    requests = static_cast<cloud::ICloudRequests*>(plugin->QueryInterface(IID_ICloudRequests));
  }
  requests_plugin(const requests_plugin&) = delete;
  requests_plugin& operator=(const requests_plugin&) = delete;
  ~requests_plugin() { module_.destroy(plugin_name, plugin->QueryInterface(IID_IZvBaseInterface)); }

  IServPlugin* plugin;
  cloud::ICloudRequests* requests;

 private:
  module_exports module_;
};

inline void check_status(cloud::request_status status, uint32_t error_type, uint32_t code,
                         const char* sentence) {
  check_same(uint64_t{status.error_type} << 32 | status.code, uint64_t{error_type} << 32 | code,
             sentence);
}

// The groups of checks on a running "cloud_requests".
void connect_requests(const libraries& with, cloud::ICloudRequests& requests);
void technology_requests(const libraries& with, cloud::ICloudRequests& requests);
void refused_requests(const libraries& with, cloud::ICloudRequests& requests);
void uploads(const libraries& with, cloud::ICloudRequests& requests);
void proxies(const libraries& with, cloud::ICloudRequests& requests);
void older_interface(const libraries& with, cloud::ICloudRequestsCompatibility& requests);
void observers(const libraries& with, cloud::observable_cloud_requests& requests);
