#include "devkit/splicectl/telemetry.h"

#include "devkit/common/FileWatcher.h"

namespace devkit {

namespace {

using nlohmann::json;

std::string text_of(const json& event, const char* pointer) {
  const json value = event.value(json::json_pointer(pointer), json());
  return value.is_string() ? value.get<std::string>() : value.is_null() ? "?" : value.dump();
}

std::string throttling_text(const json& event) {
  const bool is_begin = text_of(event, "/strings/throttling") == "enabled";
  std::string text = text_of(event, "/strings/service") +
                     (is_begin ? ": requests are held back" : ": requests pass again") + " (" +
                     text_of(event, "/strings/process_name") + ")";
  if (!is_begin) {
    return text + "; refused meanwhile: " + text_of(event, "/integers/blocked_requests") +
           ", outcomes of others: " + text_of(event, "/integers/allowed_requests");
  }
  const char* before = "; failures: ";
  for (const json& child : event.value("/child_lists/errors"_json_pointer, json::array())) {
    text += before + text_of(child, "/strings/method") + " " + text_of(child, "/strings/field") +
            " " + text_of(child, "/strings/value");
    before = ", ";
  }
  return text;
}

bool is_throttling(const json& event) {
  return text_of(event, "/name") == "m_cloud_guardian_report" &&
         text_of(event, "/strings/report_type") == "throttling";
}

}  // namespace

std::string event_text(const json& event) {
  if (!event.is_object()) return "This line is no event: " + event.dump();
  const std::string head =
      text_of(event, "/time") + "  process " + text_of(event, "/process") + "  ";
  if (is_throttling(event)) return head + throttling_text(event);
  json rest = event;
  for (const char* const shown : {"time", "process", "name", "version"}) rest.erase(shown);
  return head + text_of(event, "/name") + " " + text_of(event, "/version") + " " + rest.dump();
}

bool EventsFile::exists() const {
  return std::filesystem::exists(path_);
}

std::vector<std::string> EventsFile::next_lines() {
  const std::string content = read_file(path_).value_or("");
  if (content.size() < read_) read_ = 0;
  std::vector<std::string> lines;
  std::size_t begin = static_cast<std::size_t>(read_);
  // A line without its end is still being written.
  for (std::size_t end = content.find('\n', begin); end != std::string::npos;
       end = content.find('\n', begin)) {
    lines.push_back(content.substr(begin, end - begin));
    begin = end + 1;
  }
  read_ = begin;
  return lines;
}

}  // namespace devkit
