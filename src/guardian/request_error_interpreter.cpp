#include "guardian/request_error_interpreter.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string>

#include "_base/json_tree.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"

namespace cloud::guardian {

namespace {

/// Statuses of the client library that mean a server failed.
constexpr std::array<std::uint32_t, 7> client_failures = {20014, 20013, 20011, 20031,
                                                          20032, 20029, 20012};
/// Codes of a reply that mean so by themselves.
constexpr std::array<std::int32_t, 2> reply_failures = {32003, 32004};

/// A code of a reply that means so with some details and not with others.
struct detailed_failure {
  std::int32_t code;
  std::array<std::int32_t, 4> details;
};
constexpr std::array<detailed_failure, 1> detailed_reply_failures = {
    {{32005, {1002, 1011, 1012, 1013}}}};

template <class List, class Value>
bool contains(const List& list, Value value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

bool is_detailed_failure(std::int32_t code, std::int32_t detail) {
  return std::any_of(
      detailed_reply_failures.begin(), detailed_reply_failures.end(),
      [&](const auto& entry) { return entry.code == code && contains(entry.details, detail); });
}

}  // namespace

request_error_interpreter::request_error_interpreter(IRequestStatusObserver* the_breaker)
    : breaker(the_breaker) {}

void request_error_interpreter::on_upload_result(const char* service, std::uint32_t status) {
  if (service != nullptr) on_cirrel_request_error(service, nullptr, status);
}

void request_error_interpreter::on_connect_result(const char* service, const char* method,
                                                  const request_status& status,
                                                  const request_reply& reply) {
  if (service != nullptr && method != nullptr) on_reply(service, method, status, reply);
}

void request_error_interpreter::on_technology_result(const char* service,
                                                     const request_status& status,
                                                     const request_reply& reply) {
  if (service != nullptr) on_reply(service, nullptr, status, reply);
}

void request_error_interpreter::on_reply(const char* service, const char* method,
                                         const request_status& status, const request_reply& reply) {
  if (on_generic_request_error(service, method, status)) return;
  if (reply.code != 0) {
    on_request_reply_error(service, method, reply.code,
                           get_request_reply_detailed_error_code(reply));
  } else {
    breaker->process_request_succeded(service);
  }
}

bool request_error_interpreter::on_generic_request_error(const char* service, const char* method,
                                                         const request_status& status) {
  if (status.code == 0) return false;
  if (status.error_type == 1) {
    const trace_scope trace(
        L"cloud::guardian::request_error_interpreter::on_generic_request_error");
    // The trouble is ours and says nothing against the server. Counting it as a success, instead of
    // not at all, is meant: whatever fails on this side, no circuit may open for it.
    breaker->process_request_succeded(service);
    return true;
  }
  if (status.error_type == 2) {
    on_cirrel_request_error(service, method, status.code);
    return true;
  }
  return false;
}

void request_error_interpreter::on_cirrel_request_error(const char* service, const char* method,
                                                        std::uint32_t code) {
  const trace_scope trace(L"cloud::guardian::request_error_interpreter::on_cirrel_request_error");
  if (!contains(client_failures, code)) {
    breaker->process_request_succeded(service);
    return;
  }
  report_failure(service, method, std::to_string(static_cast<std::int32_t>(code)),
                 request_failure::client_status);
}

void request_error_interpreter::on_request_reply_error(const char* service, const char* method,
                                                       std::int32_t code,
                                                       std::optional<std::int32_t> detail) {
  const trace_scope trace(L"cloud::guardian::request_error_interpreter::on_request_reply_error");
  if (detail && is_detailed_failure(code, *detail)) {
    report_failure(service, method, std::to_string(code) + "." + std::to_string(*detail),
                   request_failure::detailed_reply_code);
  } else if (contains(reply_failures, code)) {
    report_failure(service, method, std::to_string(code), request_failure::reply_code);
  } else {
    // Any other complaint proves that somebody is there.
    breaker->process_request_succeded(service);
  }
}

std::optional<std::int32_t> request_error_interpreter::get_request_reply_detailed_error_code(
    const request_reply& reply) {
  if (reply.text.IsEmpty()) return std::nullopt;
  try {
    const zv::json_tree json(nlohmann::json::parse(reply.text.view()));
    if (!json->is_object()) return std::nullopt;
    const auto code = json->find("code");
    if (code == json->end() || !code->is_number_integer()) return std::nullopt;
    return code->get<std::int32_t>();
  } catch (const std::exception& exception) {
    LOG_LINE(logging::failure,
             L"cloud::guardian::request_error_interpreter::get_request_reply_detailed_error_code")
        << L"ex: " << exception.what();
    return std::nullopt;
  }
}

void request_error_interpreter::report_failure(const char* service, const char* method,
                                               const std::string& value, std::int32_t field) {
  if (method != nullptr) {
    breaker->process_request_server_error(service, request_failure{value, field, method});
  } else {
    breaker->process_request_server_error(service);
  }
}

}  // namespace cloud::guardian
