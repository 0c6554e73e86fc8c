#include "devkit/zvnc/PushFrames.h"

#include <charconv>
#include <nlohmann/json.hpp>

namespace zvnc {

namespace {

constexpr std::size_t longest_line = 64 * 1024;
constexpr std::size_t longest_text = 256 * 1024 * 1024;

bool read_target(std::string_view text, PushTarget& target) {
  const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) return false;
  const auto read = [&](const char* name, std::string& value) {
    const auto found = json.find(name);
    if (found == json.end() || !found->is_string()) return false;
    value = found->get<std::string>();
    return true;
  };
  return read("app_id", target.app_id) && read("device_id", target.device_id);
}

}  // namespace

bool PushFrames::take(std::string_view bytes) {
  unread_.append(bytes);
  std::size_t start = 0;
  for (;;) {
    const std::string_view rest = std::string_view(unread_).substr(start);
    if (in_text_) {
      if (rest.size() < text_size_) break;
      in_text_ = false;
      start += text_size_;
      if (!on_push(target_, std::string(rest.substr(0, text_size_)))) return false;
    } else {
      const std::size_t end = rest.find('\n');
      if (end == std::string_view::npos) {
        if (rest.size() > longest_line) return false;
        break;
      }
      start += end + 1;
      if (!take_line(rest.substr(0, end))) return false;
    }
  }
  unread_.erase(0, start);
  return true;
}

bool PushFrames::take_line(std::string_view line) {
  if (line == "beat") return true;
  if (line == "hello") return on_hello();
  constexpr std::string_view push = "push ";
  if (line.substr(0, push.size()) != push) return false;
  line.remove_prefix(push.size());
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), text_size_);
  if (error != std::errc() || text_size_ > longest_text) return false;
  line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  in_text_ = read_target(line, target_);
  return in_text_;
}

}  // namespace zvnc
