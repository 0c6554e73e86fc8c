#include "devkit/cloud/services.h"

#include <chrono>
#include <nlohmann/json.hpp>

namespace devkit {

namespace {

using nlohmann::json;

json parsed(const std::string& body) {
  json request = json::parse(body, nullptr, false);
  return request.is_object() ? request : json::object();
}

std::string written(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

json frame(const json& request) {
  return {{"jsonrpc", "2.0"}, {"id", request.value("id", json())}};
}

std::int64_t now() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

std::string method_of(const std::string& body) {
  const json request = parsed(body);
  const auto method = request.find("method");
  return method != request.end() && method->is_string() ? method->get<std::string>()
                                                        : std::string();
}

std::string answer(const std::string& service, const std::string& body) {
  if (service == "technology/echo") return body;
  const json request = parsed(body);
  json reply = frame(request);
  if (service == "connect/echo") {
    reply["result"] = {{"method", request.value("method", json())},
                       {"params", request.value("params", json())}};
  } else if (service == "settings") {
    reply["result"] = {{"refresh_minutes", 60}, {"channel", "development"}};
  } else if (service == "time") {
    reply["result"] = {{"now", now()}};
  } else {
    reply["error"] = {{"code", -32601}, {"message", "there is no service " + service}};
  }
  return written(reply);
}

std::string result_answer(const std::string& body, const std::string& result) {
  json reply = frame(parsed(body));
  reply["result"] = json::parse(result);
  return written(reply);
}

std::string error_answer(const std::string& body, const std::string& error) {
  json reply = frame(parsed(body));
  reply["error"] = json::parse(error);
  return written(reply);
}

}  // namespace devkit
