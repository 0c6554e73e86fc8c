#include "devkit/cloud/Cloud.h"

#include <httplib.h>

#include <chrono>
#include <cstdlib>

#include "devkit/cloud/Crc32.h"
#include "devkit/cloud/answering.h"
#include "devkit/cloud/services.h"
#include "devkit/cloud/serving.h"
#include "devkit/cloud/tls.h"
#include "devkit/common/os.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr std::size_t remembered_requests = 256;
/// A stalled request holds a thread, and so does each push stream.
constexpr std::size_t threads = 64;
constexpr time_t patience_seconds = 60;

/// Promises more than it sends, and sends nothing.
void break_off(httplib::Response& response) {
  response.set_content_provider(1024, json_type,
                                [](std::size_t, std::size_t, httplib::DataSink&) { return false; });
}

json sent_headers(const httplib::Request& request) {
  json headers = json::object();
  for (const auto& [name, value] : request.headers) {
    if (name.rfind("X-Splice-", 0) == 0) headers[name] = value;
  }
  return headers;
}

FaultSelection selection(const httplib::Request& request) {
  const auto given = [&](const char* name) {
    return request.has_param(name) ? std::make_optional(request.get_param_value(name))
                                   : std::nullopt;
  };
  return {given("service"), given("method")};
}

}  // namespace

Cloud::Cloud(const Options& options)
    : pushes_(options.commands, std::chrono::milliseconds(options.beat_milliseconds)),
      server_(options.certificate.empty() ? std::make_unique<httplib::Server>()
                                          : make_tls_server(options.certificate)) {
  server_->new_task_queue = [] { return new httplib::ThreadPool(threads); };
  // Small pushes would wait for each other.
  server_->set_tcp_nodelay(true);
  server_->set_read_timeout(patience_seconds);
  server_->set_write_timeout(patience_seconds);
  // One request a connection: an idle connection would hold up the stop.
  server_->set_keep_alive_max_count(1);
  add_routes();
  serve_admin();
  pushes_.add_admin_routes(*server_);

  port_ = bind_alone(*server_, options.port);
  address_ = (options.certificate.empty() ? "http://127.0.0.1:" : "https://127.0.0.1:") +
             std::to_string(port_);
  thread_ = serve_on_thread(*server_);
}

Cloud::~Cloud() {
  faults_.release();
  pushes_.streams().release();
  server_->stop();
  thread_.join();
}

json Cloud::requests(std::uint64_t after) const {
  const std::lock_guard guard(requests_mutex_);
  json list = json::array();
  for (const json& entry : requests_) {
    if (entry["number"].get<std::uint64_t>() > after) list.push_back(entry);
  }
  return list;
}

void Cloud::remember(json entry, const httplib::Request& request) {
  entry["headers"] = sent_headers(request);
  const std::lock_guard guard(requests_mutex_);
  entry["number"] = ++request_count_;
  requests_.push_back(std::move(entry));
  if (requests_.size() > remembered_requests) requests_.pop_front();
}

void Cloud::add_routes() {
  server_->Post("/services/(.*)",
                [this](const httplib::Request& request, httplib::Response& response) {
                  serve_request(request, response);
                });
  server_->Post("/upload/(.*)", [this](const httplib::Request& request, httplib::Response& response,
                                       const httplib::ContentReader& reader) {
    serve_upload(request, response, reader);
  });
  server_->Get("/health", [this](const httplib::Request&, httplib::Response& response) {
    const auto fault = faults_.take("health", "");
    if (!fault || !apply(*fault, "", response)) write(response, {{"status", "up"}});
  });
  server_->Post("/push/register",
                [this](const httplib::Request& request, httplib::Response& response) {
                  const auto fault = faults_.take("push", "register");
                  if (!fault || !apply(*fault, "", response))
                    pushes_.serve_register(request, response);
                });
  server_->Post("/push/stream",
                [this](const httplib::Request& request, httplib::Response& response) {
                  const auto fault = faults_.take("push", "stream");
                  if (!fault || !apply(*fault, "", response))
                    pushes_.serve_stream(request, response);
                });
}

void Cloud::serve_request(const httplib::Request& request, httplib::Response& response) {
  const std::string service = request.matches[1];
  const std::string method = method_of(request.body);
  remember({{"kind", "request"}, {"service", service}, {"method", method}, {"body", request.body}},
           request);
  const auto fault = faults_.take(service, method);
  if (fault && apply(*fault, request.body, response)) return;
  const bool is_commands = service == "connect/commands";
  response.set_content(is_commands ? pushes_.answer(request.body) : answer(service, request.body),
                       json_type);
}

void Cloud::serve_upload(const httplib::Request& request, httplib::Response& response,
                         const httplib::ContentReader& reader) {
  const std::string service = request.matches[1];
  const auto fault = faults_.take(service, "upload");
  // Before the body is read: a server that goes away doesn't hear the file out.
  if (fault && fault->kind == "close") return break_off(response);

  std::uint64_t bytes = 0;
  Crc32 sum;
  const bool complete = reader([&](const char* data, std::size_t size) {
    bytes += size;
    sum.add(data, size);
    return true;
  });
  if (!complete) return;
  remember({{"kind", "upload"}, {"service", service}, {"bytes", bytes}, {"crc32", sum.text()}},
           request);
  if (fault && apply(*fault, "", response)) return;
  write(response, {{"bytes", bytes}, {"crc32", sum.text()}});
}

bool Cloud::apply(const TakenFault& fault, const std::string& body, httplib::Response& response) {
  if (fault.kind == "stall") {
    faults_.stall(fault);
    return false;
  }
  if (fault.kind == "error") {
    response.set_content(error_answer(body, error_member(fault).dump()), json_type);
  } else if (fault.kind == "rubbish") {
    response.set_content(rubbish(fault.what).value_or(""), json_type);
  } else if (fault.kind == "http") {
    refuse(response, fault.status, "a failure on demand");
  } else {
    break_off(response);
  }
  return true;
}

void Cloud::serve_admin() {
  server_->Put("/admin/faults",
               [this](const httplib::Request& request, httplib::Response& response) {
                 answer_or_refuse(response, [&] {
                   const Fault fault = fault_from_json(json::parse(request.body));
                   faults_.add(fault);
                   write(response, to_json(fault));
                 });
               });
  server_->Get("/admin/faults", [this](const httplib::Request&, httplib::Response& response) {
    json list = json::array();
    for (const Fault& fault : faults_.list()) list.push_back(to_json(fault));
    write(response, list);
  });
  server_->Delete("/admin/faults",
                  [this](const httplib::Request& request, httplib::Response& response) {
                    write(response, {{"cleared", faults_.clear(selection(request))}});
                  });
  server_->Get("/admin/requests", [this](const httplib::Request& request,
                                         httplib::Response& response) {
    write(response, requests(std::strtoull(request.get_param_value("after").c_str(), nullptr, 10)));
  });
  server_->Get("/admin/info", [this](const httplib::Request&, httplib::Response& response) {
    const std::lock_guard guard(requests_mutex_);
    write(response, {{"process", os::process_id()},
                     {"requests", request_count_},
                     {"registrations", pushes_.streams().registrations()}});
  });
}

}  // namespace devkit
