#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/IECEventsClient.h"
#include "frame/plugin_handle.h"
#include "guardian/request_failure.h"

class ECEvent;

namespace cloud::guardian {

/// Tells the back end when a service gets throttled and when no more. Made for one report: the
/// client is loaded by the constructor and let go by the destructor. A failure, memory that ran out
/// included, is logged and costs nothing but the report. Any thread, one at a time.
class telemetry {
 public:
  telemetry();

  /// `service` and the texts of `errors` are UTF-8.
  void post_throttling_enabled(const std::string& service,
                               const std::vector<request_failure>& errors);
  void post_throttling_disabled(const std::string& service, std::uint32_t blocked,
                                std::uint32_t allowed);

 private:
  /// How this process is told from others; empty if it has no name.
  static std::wstring get_process_name();
  static void fill_common_part(ECEvent& event, const std::string& service,
                               const wchar_t* throttling);
  /// Posts an event that `fill` has filled, if there is someone to take it.
  template <class Fill>
  void post(Fill fill);

  plugin_handle<IECEventsClient> client_;
};

}  // namespace cloud::guardian
