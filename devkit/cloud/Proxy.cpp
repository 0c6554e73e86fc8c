#include "devkit/cloud/Proxy.h"

#include <httplib.h>

#include <chrono>

#include "devkit/cloud/StreamRelay.h"
#include "devkit/cloud/serving.h"

namespace devkit {

namespace {

/// Headers that concern one hop, or that the client library writes by itself.
bool is_for_one_hop(const std::string& name) {
  static const char* const names[] = {"Connection",     "Proxy-Connection",    "Host",
                                      "Content-Length", "Proxy-Authorization", "Transfer-Encoding",
                                      "REMOTE_ADDR",    "REMOTE_PORT",         "LOCAL_ADDR",
                                      "LOCAL_PORT",     "Accept-Encoding",     "Content-Type"};
  for (const char* const one : names) {
    if (name == one) return true;
  }
  return false;
}

}  // namespace

Proxy::Proxy(const std::string& user, const std::string& password)
    : server_(std::make_unique<httplib::Server>()) {
  if (!user.empty()) {
    credentials_ = httplib::make_basic_authentication_header(user, password, true).second;
  }
  server_->new_task_queue = [] { return new httplib::ThreadPool(16); };
  server_->set_keep_alive_max_count(1);
  const auto serve_it = [this](const httplib::Request& request, httplib::Response& response) {
    serve(request, response);
  };
  server_->Get(".*", serve_it).Post(".*", serve_it).Put(".*", serve_it).Delete(".*", serve_it);
  port_ = bind_alone(*server_, 0);
  thread_ = serve_on_thread(*server_);
}

Proxy::~Proxy() {
  server_->stop();
  thread_.join();
}

void Proxy::serve(const httplib::Request& request, httplib::Response& response) {
  if (!credentials_.empty() && request.get_header_value("Proxy-Authorization") != credentials_) {
    ++refused_;
    response.status = 407;
    response.set_header("Proxy-Authenticate", "Basic realm=\"development proxy\"");
    return;
  }

  // A proxy is asked with the whole address: scheme://host:port/path.
  const std::size_t host = request.target.find("://");
  const std::size_t path = host == std::string::npos ? host : request.target.find('/', host + 3);
  if (path == std::string::npos) {
    response.status = 400;
    return;
  }

  httplib::Request onward;
  onward.method = request.method;
  onward.path = request.target.substr(path);
  onward.body = request.body;
  for (const auto& header : request.headers) {
    if (!is_for_one_hop(header.first)) onward.headers.insert(header);
  }
  onward.set_header("Content-Type", request.get_header_value("Content-Type"));
  // The cloud remembers it, and so tells which road a request has taken.
  onward.set_header("X-Splice-Proxy", std::to_string(port_));
  if (onward.path == "/push/stream") {
    ++forwarded_;
    return relay(std::make_shared<StreamRelay>(request.target.substr(0, path), std::move(onward)),
                 response);
  }
  httplib::Client client(request.target.substr(0, path));
  const httplib::Result result = client.send(onward);
  if (!result) {
    response.status = 502;
    return;
  }
  ++forwarded_;
  response.status = result->status;
  response.set_content(result->body, result->get_header_value("Content-Type"));
}

void Proxy::relay(const std::shared_ptr<StreamRelay>& stream, httplib::Response& response) {
  response.status = stream->status().value_or(502);
  response.set_chunked_content_provider(
      "application/octet-stream", [stream](std::size_t, httplib::DataSink& sink) {
        const auto bytes = stream->next(std::chrono::milliseconds(100));
        if (!bytes) {
          sink.done();
          return true;
        }
        // Nothing to write is no end, unless the other side has gone.
        return bytes->empty() ? sink.is_writable() : sink.write(bytes->data(), bytes->size());
      });
}

}  // namespace devkit
