#include "guardian/telemetry.h"

#include <memory>
#include <new>
#include <string_view>

#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"
#include "_base/utf8.h"
#include "_base/win_error.h"
#include "frame/load_events_client.h"
#include "frame/logger_stream.h"
#include "platform/library.h"

namespace cloud::guardian {
namespace {

constexpr std::uint32_t report_event_type = 31;

/// The export by which the program around a service gives that service's name.
using GetServiceName_t = const wchar_t* (*)();

const wchar_t* service_name() {
  std::uint32_t error = 0;
  const auto get_name = reinterpret_cast<GetServiceName_t>(
      platform::find_symbol(platform::executable(), "GetServiceName", error));
  return get_name != nullptr ? get_name() : nullptr;
}

/// The file's name without a stream of it and without its extension. A point in front begins a
/// name, not an extension.
std::wstring_view stem_of(std::wstring_view path) {
  const wchar_t separators[] = {L'/', platform::path_separator, L'\0'};
  const std::size_t separator = path.find_last_of(separators);
  std::wstring_view name = separator == path.npos ? path : path.substr(separator + 1);
  name = name.substr(0, name.find(L':'));
  const std::size_t point = name.rfind(L'.');
  const bool has_extension = point != name.npos && point != 0 && name != L"..";
  return has_extension ? name.substr(0, point) : name;
}

/// Where the value of a failure was read.
const wchar_t* name_of_field(std::int32_t field) {
  switch (field) {
    case request_failure::client_status:
      return L"zvnc.status";
    case request_failure::reply_code:
      return L"error.code";
    case request_failure::detailed_reply_code:
      return L"error.data.code";
    default:
      return L"";
  }
}

ECChildEvent child_of(const request_failure& failure) {
  ECChildEvent child;
  child.SetString(L"method", zv::to_wide(failure.method).c_str());
  child.SetString(L"field", name_of_field(failure.field));
  child.SetString(L"value", zv::to_wide(failure.value).c_str());
  return child;
}

}  // namespace

telemetry::telemetry()
    : client_(load_own_events_client(
          {L"cloud::guardian::telemetry::telemetry", L"Failed to get foldername; err = ", L""})) {}

void telemetry::post_throttling_enabled(const std::string& service,
                                        const std::vector<request_failure>& errors) {
  post([&](ECEvent& event) {
    fill_common_part(event, service, L"enabled");
    for (const request_failure& failure : errors) {
      const ECChildEvent child = child_of(failure);
      event.AddChild(L"errors", &child);
    }
  });
}

void telemetry::post_throttling_disabled(const std::string& service, std::uint32_t blocked,
                                         std::uint32_t allowed) {
  post([&](ECEvent& event) {
    fill_common_part(event, service, L"disabled");
    event.SetInteger(L"blocked_requests", blocked);
    event.SetInteger(L"allowed_requests", allowed);
  });
}

std::wstring telemetry::get_process_name() {
  if (const wchar_t* const name = service_name()) return name;

  constexpr std::uint32_t size = 32767;
  const auto buffer = std::make_unique<wchar_t[]>(size);
  std::uint32_t error = 0;
  const std::uint32_t length = platform::module_file_name(nullptr, buffer.get(), size, error);
  // A full buffer alone is no failure: the system has to complain as well.
  if (length == 0 || (length == size && error != 0)) {
    LOG_LINE(logging::failure, L"cloud::guardian::telemetry::get_process_name")
        << L"this_process::get_filename err=" << error;
    return {};
  }
  return std::wstring(stem_of({buffer.get(), length}));
}

void telemetry::fill_common_part(ECEvent& event, const std::string& service,
                                 const wchar_t* throttling) {
  event.SetName(L"m_cloud_guardian_report");
  event.SetVersion(L"1.0");
  event.SetString(L"report_type", L"throttling");
  event.SetString(L"service", zv::to_wide(service).c_str());
  event.SetString(L"throttling", throttling);
  event.SetString(L"process_name", get_process_name().c_str());
  event.SetType(report_event_type);
}

template <class Fill>
void telemetry::post(Fill fill) {
  if (!client_) return;
  std::uint32_t error = win_error::success;
  try {
    ECEvent event;
    fill(event);
    error = client_->post(&event, true, 0);
  } catch (const std::bad_alloc&) {
    error = win_error::out_of_memory;
  }
  if (error != win_error::success) {
    LOG_LINE(logging::failure, L"cloud::guardian::telemetry::post")
        << L"Failed to post event; err = " << error;
  }
}

}  // namespace cloud::guardian
