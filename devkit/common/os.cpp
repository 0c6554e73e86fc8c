#include "devkit/common/os.h"

namespace devkit::os {

std::optional<std::string> Process::read_line() {
  for (;;) {
    if (const auto end = unread_.find('\n'); end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return line;
    }
    char buffer[512];
    const std::size_t count = read_some(buffer, sizeof buffer);
    if (count == 0) return std::nullopt;
    unread_.append(buffer, count);
  }
}

bool Process::write_line(std::string_view line) {
  return input_ != -1 && write_all(std::string(line) + "\n");
}

std::string Process::read_all() {
  char buffer[4096];
  while (const std::size_t count = read_some(buffer, sizeof buffer)) unread_.append(buffer, count);
  std::string all;
  all.swap(unread_);
  return all;
}

}  // namespace devkit::os
