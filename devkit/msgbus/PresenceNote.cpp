#include "devkit/msgbus/PresenceNote.h"

#include <nlohmann/json.hpp>

#include "devkit/msgbus/message_json.h"

namespace devkit::bus {

using nlohmann::json;

std::string PresenceNote::text() const {
  json list = json::array();
  for (const Listener& listener : listeners)
    list.push_back(json::array({to_json_text(listener.channel), to_json_text(listener.name)}));
  json note = {{"process", process_id}, {"program", program}, {"listeners", list}};
  if (leaving) note["leaving"] = true;
  return note.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::optional<PresenceNote> PresenceNote::parse(std::string_view text) {
  try {
    const json note = json::parse(text);
    PresenceNote result;
    result.process_id = note.at("process").get<std::uint32_t>();
    result.program = note.at("program").get<std::string>();
    result.leaving = note.value("leaving", false);
    for (const json& listener : note.at("listeners")) {
      result.listeners.push_back({from_json_text(listener.at(0).get<std::string>()),
                                  from_json_text(listener.at(1).get<std::string>())});
    }
    return result;
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

}  // namespace devkit::bus
