#pragma once

#include <string>

#include "frame/IECEventsClient.h"
#include "frame/plugin_handle.h"

namespace cloud::push {

/// Tells the back end when a push got here. Without the events library, which costs one line in the
/// log, it does nothing. Any thread may call.
class push_telemetry {
 public:
  push_telemetry();
  push_telemetry(const push_telemetry&) = delete;
  push_telemetry& operator=(const push_telemetry&) = delete;
  ~push_telemetry() = default;

  /// `latency_id` is UTF-8, and may be empty.
  void post_push_event_received_karma_event(const std::string& latency_id);

 private:
  plugin_handle<IECEventsClient> client_;
};

}  // namespace cloud::push
