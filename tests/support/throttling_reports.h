#pragma once

#include <string>
#include <vector>

#include "support/EventsRecorder.h"

namespace support {

using Reports = std::vector<std::wstring>;

/// The reports posted so far, each as "<service> enabled" or "<service> disabled".
inline Reports throttling_reports(const EventsRecorder& events) {
  Reports reports;
  for (const PostedEvent& event : events.posted()) {
    reports.push_back(event.strings.at(L"service") + L" " + event.strings.at(L"throttling"));
  }
  return reports;
}

}  // namespace support
