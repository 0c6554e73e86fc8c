#include "push/push_telemetry.h"

#include <exception>
#include <new>

#include "_base/events/ECEvent.h"
#include "_base/utf8.h"
#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "frame/load_events_client.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"
#include "platform/library.h"

namespace cloud::push {
namespace {

constexpr std::uint32_t report_event_type = 31;

void fill(ECEvent& event, const std::string& latency_id) {
  event.SetName(L"push_event_emitted");
  event.SetVersion(L"2.0");
  event.SetString(L"push_event_name", L"push_delivery_latency");
  event.SetString(L"latency_id", zv::to_wide(latency_id).c_str());
  event.SetType(report_event_type);
}

}  // namespace

push_telemetry::push_telemetry() {
  const wchar_t* const function = L"push_telemetry::push_telemetry";
  std::uint32_t status = win_error::gen_failure;
  try {
    std::uint32_t error = 0;
    const std::wstring folder = dll::get_foldername(platform::own_module(), error);
    if (error != win_error::success) {
      LOG_LINE(logging::failure, function)
          << L"Could not get current directory path. Error: " << error << L".";
      return;
    }
    const std::wstring library = folder + platform::library_file_name(L"ecevents");
    client_ = load_events_client(library.c_str(), status);
  } catch (const std::bad_alloc&) {
    status = win_error::out_of_memory;
  }
  if (status != win_error::success) {
    LOG_LINE(logging::failure, function)
        << L"Could not load the EC events DLL. Error " << status << L".";
  }
}

void push_telemetry::post_push_event_received_karma_event(const std::string& latency_id) {
  const trace_scope trace(L"push_telemetry::post_push_event_received_karma_event");
  if (!client_) return;
  try {
    ECEvent event;
    fill(event, latency_id);
    client_->post(&event, true, 0);
  } catch (const std::exception&) {
    // A report that can't be made is as silent as one that is refused: delivery, which waits for
    // this, must go on, and the back end counts on no single report.
  }
}

}  // namespace cloud::push
