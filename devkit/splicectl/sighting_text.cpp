#include "devkit/splicectl/sighting_text.h"

#include <cstdio>

#include "devkit/splicectl/printing.h"

namespace devkit {

namespace {

using bus::Sighting;
using nlohmann::json;
using Kind = Sighting::Kind;

const char* name_of(Kind kind) {
  switch (kind) {
    case Kind::connected:
      return "connected";
    case Kind::caught_up:
      return "caught_up";
    case Kind::away:
      return "away";
    case Kind::message:
      return "message";
    case Kind::request:
      return "request";
    case Kind::reply:
      return "reply";
    case Kind::process_here:
      return "process_here";
    case Kind::process_left:
      return "process_left";
    case Kind::process_died:
      return "process_died";
    case Kind::listener_added:
      return "listener_added";
    case Kind::listener_removed:
      return "listener_removed";
  }
  return "";
}

json to_json(const bus::Fields& fields) {
  json object = json::object();
  for (const auto& [name, value] : fields)
    std::visit([&, &key = name](const auto& plain) { object[key] = plain; }, value);
  return object;
}

std::string text_of(const std::string& name, const bus::Field& value) {
  const std::string* const words = std::get_if<std::string>(&value);
  if (words == nullptr) return name + "=" + std::to_string(std::get<std::int64_t>(value));
  return name + "=" + (words->empty() ? "\"\"" : shortened(*words, 120));
}

/// What a message is comes first.
std::string text_of(const bus::Fields& fields) {
  const auto is_kind = [](const std::string& name) { return name == "module" || name == "method"; };
  std::string kind;
  std::string rest;
  for (const auto& [name, value] : fields) {
    if (is_kind(name)) {
      kind.insert(0, kind.empty() ? "" : "  ").insert(0, text_of(name, value));
    } else {
      rest.append("  ").append(text_of(name, value));
    }
  }
  return kind.empty() && !rest.empty() ? rest.substr(2) : kind + rest;
}

std::string process_of(const Sighting& sighting) {
  return "process " + std::to_string(sighting.process_id) + " (" + sighting.program + ")";
}

double milliseconds(std::chrono::microseconds elapsed) {
  return static_cast<double>(elapsed.count()) / 1000;
}

}  // namespace

json to_json(const Sighting& sighting) {
  json object = {{"seen", name_of(sighting.kind)}};
  const bool is_message = sighting.kind == Kind::message || sighting.kind == Kind::request ||
                          sighting.kind == Kind::reply;
  if (is_message) {
    object["channel"] = sighting.channel;
    object["fields"] = to_json(sighting.fields);
  }
  if (!sighting.correlation.empty()) object["correlation"] = sighting.correlation;
  if (sighting.elapsed) object["milliseconds"] = milliseconds(*sighting.elapsed);
  if (sighting.kind == Kind::listener_added || sighting.kind == Kind::listener_removed) {
    object["channel"] = sighting.listener.channel;
    object["listener"] = sighting.listener.name;
  }
  if (!sighting.process.empty()) object["name"] = sighting.process;
  if (sighting.process_id != 0) object["process"] = sighting.process_id;
  if (!sighting.program.empty()) object["program"] = sighting.program;
  return object;
}

std::string SightingLines::line(const Sighting& sighting) {
  switch (sighting.kind) {
    case Kind::connected:
      return "the broker is there";
    case Kind::caught_up:
      return "this is who is there; from now on live";
    case Kind::away:
      return "the broker is gone";
    case Kind::message:
      return "  " + sighting.channel + "  " + text_of(sighting.fields);
    case Kind::request:
      return "? " + sighting.channel + "  " + number_of(sighting.correlation) + "  " +
             text_of(sighting.fields);
    case Kind::reply: {
      char time[32] = "";
      if (sighting.elapsed)
        std::snprintf(time, sizeof time, "  after %.2f ms", milliseconds(*sighting.elapsed));
      const std::string number = number_of(sighting.correlation);
      numbers_.take(sighting.correlation);
      return "! " +
             (sighting.channel.empty() ? std::string("a request from before") : sighting.channel) +
             "  " + number + time + "  " + text_of(sighting.fields);
    }
    case Kind::process_here:
      return "+ " + process_of(sighting);
    case Kind::process_left:
      return "- " + process_of(sighting) + " left";
    case Kind::process_died:
      return "- " + process_of(sighting) + " died";
    case Kind::listener_added:
      return "+ " + sighting.listener.channel + "  " + sighting.listener.name + "  of " +
             process_of(sighting);
    case Kind::listener_removed:
      return "- " + sighting.listener.channel + "  " + sighting.listener.name + "  of " +
             process_of(sighting);
  }
  return {};
}

std::string SightingLines::number_of(const std::string& correlation) {
  if (numbers_.find(correlation) == nullptr) numbers_.put(correlation, ++last_number_);
  return "#" + std::to_string(*numbers_.find(correlation));
}

}  // namespace devkit
