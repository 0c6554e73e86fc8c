#include "devkit/splicectl/telemetry.h"

#include <fstream>
#include <stdexcept>

#include "devkit/common/text.h"

namespace devkit {

namespace {

using nlohmann::json;

std::string text_of(const json& event, const char* pointer) {
  const json value = member(event, pointer);
  return value.is_string() ? value.get<std::string>() : value.is_null() ? "?" : value.dump();
}

std::string throttling_text(const json& event) {
  const bool is_begin = text_of(event, "/strings/throttling") == "enabled";
  std::string text = text_of(event, "/strings/service") +
                     (is_begin ? ": requests are held back" : ": requests pass again") + " (" +
                     text_of(event, "/strings/process_name") + ")";
  if (!is_begin) {
    return text + "; refused meanwhile: " + text_of(event, "/integers/blocked_requests") +
           ", outcomes meanwhile: " + text_of(event, "/integers/allowed_requests");
  }
  const char* before = "; failures: ";
  for (const json& child : member(event, "/child_lists/errors")) {
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

json member(const json& event, const char* pointer) {
  const json::json_pointer path(pointer);
  return event.contains(path) ? event.at(path) : json();
}

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
  const std::string content = rest();
  std::vector<std::string> lines;
  std::size_t begin = 0;
  // A line without its end is still being written.
  for (std::size_t end = content.find('\n', begin); end != std::string::npos;
       end = content.find('\n', begin)) {
    lines.push_back(content.substr(begin, end - begin));
    begin = end + 1;
  }
  read_ += begin;
  return lines;
}

std::string EventsFile::rest() {
  if (!exists()) {
    read_ = 0;
    return {};
  }
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path_, error);
  if (!error && size < read_) read_ = 0;
  if (!error && size == read_) return {};
  std::ifstream file(path_, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(read_));
  if (error || !file) {
    throw std::runtime_error(path_text(path_) + " can't be read; may this user, and is it a file?");
  }
  // What was added since its size was asked comes with the next call.
  std::string content(static_cast<std::size_t>(size - read_), '\0');
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  content.resize(static_cast<std::size_t>(file.gcount()));
  return content;
}

}  // namespace devkit
