#include "devkit/cloud/PushDesk.h"

#include <httplib.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "devkit/cloud/answering.h"
#include "devkit/cloud/push_request.h"
#include "devkit/cloud/services.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr const char* stream_type = "application/octet-stream";

PushHub::Client client_of(const json& body) {
  return {body.at("stream").get<std::string>(), body.value("process", std::uint32_t{0})};
}

PushTarget target_of(const json& registration) {
  return {registration.at("app_id").get<std::string>(),
          registration.at("device_id").get<std::string>()};
}

PushTarget target_of(const httplib::Request& request) {
  return {request.get_param_value("app_id"), request.get_param_value("device_id")};
}

json parsed(const httplib::Request& request) {
  json body = json::parse(request.body, nullptr, false);
  if (body.is_discarded()) throw std::invalid_argument("the body is no JSON");
  return body;
}

json member(const json& object, const char* name) {
  return object.is_object() ? object.value(name, json()) : json();
}

std::string text_member(const json& object, const char* name) {
  const json value = member(object, name);
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::string failure(const std::string& body, int code, const std::string& message) {
  return error_answer(body, json({{"code", code}, {"message", message}}).dump());
}

}  // namespace

PushDesk::PushDesk(const std::filesystem::path& commands_file, std::chrono::milliseconds beat)
    : commands_(commands_file), beat_(beat) {}

json PushDesk::push(const json& request) {
  std::vector<PushRequest> pushes;
  for (const json& one : request.is_array() ? request : json::array({request}))
    pushes.push_back(push_from_json(one));

  json results = json::array();
  for (const PushRequest& push : pushes) {
    json result = json::object();
    if (push.is_command) result["command_id"] = push.command_id;
    // Into the table first: an application may complete it as soon as it has it.
    if (push.is_command && !push.command_id.empty())
      commands_.add({push.command_id, push.target, push.name, push.params, push.timestamp});
    result["streams"] = hub_.send(push.target, [&](const PushTarget& registered) {
      return devkit::push_text(push, registered);
    });
    results.push_back(result);
  }
  return request.is_array() ? results : results[0];
}

std::size_t PushDesk::push_text(const PushTarget& target, const std::string& text) {
  return hub_.send(target, [&](const PushTarget&) { return text; });
}

void PushDesk::accept_tokens(std::set<std::string> tokens) {
  const std::lock_guard guard(tokens_mutex_);
  tokens_ = std::move(tokens);
}

bool PushDesk::is_accepted(const std::string& token) const {
  const std::lock_guard guard(tokens_mutex_);
  return !token.empty() && (tokens_.empty() || tokens_.count(token) != 0);
}

void PushDesk::serve_register(const httplib::Request& request, httplib::Response& response) {
  answer_or_refuse(response, [&] {
    const json body = parsed(request);
    if (!is_accepted(body.at("token").get<std::string>()))
      return refuse(response, 401, "the user token is not known");
    hub_.add(client_of(body), target_of(body));
    write(response, {{"registered", true}});
  });
}

void PushDesk::serve_stream(const httplib::Request& request, httplib::Response& response) {
  answer_or_refuse(response, [&] {
    const json body = parsed(request);
    std::vector<PushTarget> targets;
    for (const json& registration : body.at("registrations")) {
      // A token that has been withdrawn meanwhile doesn't cost the others their pushes.
      if (is_accepted(registration.at("token").get<std::string>()))
        targets.push_back(target_of(registration));
    }
    const auto connection = hub_.attach(client_of(body), targets);
    if (!connection) return refuse(response, 503, "there is no room for another push stream");

    const auto greeted = std::make_shared<bool>(false);
    response.set_chunked_content_provider(
        stream_type,
        [this, greeted, number = *connection](std::size_t, httplib::DataSink& sink) {
          const auto bytes = *greeted ? hub_.next(number, beat_) : std::make_optional("hello\n");
          *greeted = true;
          if (bytes) return sink.write(bytes->data(), bytes->size());
          sink.done();
          return true;
        },
        [this, number = *connection](bool) { hub_.detach(number); });
  });
}

std::string PushDesk::answer(const std::string& body) {
  const std::string method = method_of(body);
  const json params = member(json::parse(body, nullptr, false), "params");
  const json source = member(params, "connect_source");
  const PushTarget who = {text_member(source, "app_id"), text_member(source, "device_id")};
  if (method == "list") return result_answer(body, commands_.list(who).dump());
  if (method != "complete") return failure(body, -32601, "there is no method " + method);

  const std::string id = text_member(params, "command_id");
  if (!commands_.complete(id, text_member(params, "command_status"), who))
    return failure(body, 404, "there is no command " + id);
  return result_answer(body, "{}");
}

void PushDesk::add_admin_routes(httplib::Server& server) {
  using httplib::Request;
  using httplib::Response;
  server.Post("/admin/push", [this](const Request& request, Response& response) {
    answer_or_refuse(response, [&] { write(response, push(parsed(request))); });
  });
  server.Post("/admin/push/text", [this](const Request& request, Response& response) {
    write(response, {{"streams", push_text(target_of(request), request.body)}});
  });
  server.Get("/admin/commands", [this](const Request&, Response& response) {
    answer_or_refuse(response, [&] { write(response, commands_.all()); });
  });
  server.Get("/admin/streams",
             [this](const Request&, Response& response) { write(response, hub_.list()); });
  server.Delete("/admin/streams", [this](const Request&, Response& response) {
    write(response, {{"ended", hub_.break_all()}});
  });
  server.Put("/admin/tokens", [this](const Request& request, Response& response) {
    answer_or_refuse(response, [&] {
      accept_tokens(parsed(request).get<std::set<std::string>>());
      write(response, json::object());
    });
  });
}

}  // namespace devkit
