#include "push/push_telemetry.h"

#include <exception>

#include "_base/events/ECEvent.h"
#include "_base/utf8.h"
#include "frame/load_events_client.h"
#include "frame/trace_scope.h"

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

push_telemetry::push_telemetry()
    : client_(load_own_events_client({L"push_telemetry::push_telemetry",
                                      L"Could not get current directory path. Error: ", L"."})) {}

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
