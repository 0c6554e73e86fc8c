#include "devkit/cloud/CloudAdmin.h"

#include <httplib.h>

#include <stdexcept>

namespace devkit {

namespace {

constexpr time_t patience_seconds = 10;
constexpr const char* json_type = "application/json";

httplib::Client connected(const std::string& address) {
  httplib::Client client(address);
  if (!client.is_valid()) {
    throw std::runtime_error("the cloud's address is to be like http://127.0.0.1:47811, not " +
                             address);
  }
  client.set_connection_timeout(patience_seconds);
  client.set_read_timeout(patience_seconds);
  return client;
}

nlohmann::json read(const httplib::Result& result, const std::string& address) {
  if (!result) {
    throw no_cloud("no development cloud answers at " + address +
                   "; start one with \"splicectl cloud\", or name its address with --cloud");
  }
  if (result->status != 200) throw std::runtime_error("the cloud refuses: " + result->body);
  nlohmann::json answer = nlohmann::json::parse(result->body, nullptr, false);
  if (answer.is_discarded())
    throw std::runtime_error("what answers at " + address + " is no development cloud");
  return answer;
}

nlohmann::json push_json(const char* kind, const PushTarget& target, const std::string& name,
                         const nlohmann::json& params) {
  return {{"kind", kind},
          {"app_id", target.app_id},
          {"device_id", target.device_id},
          {"name", name},
          {"params", params}};
}

}  // namespace

CloudAdmin::CloudAdmin(std::string address) : address_(std::move(address)) {}

nlohmann::json CloudAdmin::info() const {
  return read(connected(address_).Get("/admin/info"), address_);
}

nlohmann::json CloudAdmin::requests(std::uint64_t after) const {
  const std::string path = "/admin/requests?after=" + std::to_string(after);
  return read(connected(address_).Get(path), address_);
}

nlohmann::json CloudAdmin::faults() const {
  return read(connected(address_).Get("/admin/faults"), address_);
}

nlohmann::json CloudAdmin::add_fault(const nlohmann::json& fault) const {
  return read(connected(address_).Put("/admin/faults", fault.dump(), "application/json"), address_);
}

std::size_t CloudAdmin::clear_faults(const FaultSelection& selection) const {
  httplib::Params given;
  if (selection.service) given.emplace("service", *selection.service);
  if (selection.method) given.emplace("method", *selection.method);
  const std::string path = httplib::append_query_params("/admin/faults", given);
  return read(connected(address_).Delete(path), address_).value("cleared", std::size_t{0});
}

nlohmann::json CloudAdmin::push(const nlohmann::json& request) const {
  return read(connected(address_).Post("/admin/push", request.dump(), json_type), address_);
}

std::size_t CloudAdmin::push_event(const PushTarget& target, const std::string& name,
                                   const nlohmann::json& params) const {
  return push(push_json("event", target, name, params)).at("streams");
}

std::string CloudAdmin::push_command(const PushTarget& target, const std::string& name,
                                     const nlohmann::json& params) const {
  return push(push_json("command", target, name, params)).at("command_id");
}

std::size_t CloudAdmin::push_text(const PushTarget& target, const std::string& text) const {
  const std::string path = httplib::append_query_params(
      "/admin/push/text", {{"app_id", target.app_id}, {"device_id", target.device_id}});
  return read(connected(address_).Post(path, text, "application/octet-stream"), address_)
      .at("streams");
}

nlohmann::json CloudAdmin::commands() const {
  return read(connected(address_).Get("/admin/commands"), address_);
}

nlohmann::json CloudAdmin::streams() const {
  return read(connected(address_).Get("/admin/streams"), address_);
}

std::size_t CloudAdmin::break_streams() const {
  return read(connected(address_).Delete("/admin/streams"), address_).at("ended");
}

void CloudAdmin::accept_tokens(const std::vector<std::string>& tokens) const {
  read(connected(address_).Put("/admin/tokens", nlohmann::json(tokens).dump(), json_type),
       address_);
}

}  // namespace devkit
