#include "devkit/splicectl/printing.h"

#include <cstdio>

namespace devkit {

namespace {

constexpr std::uint32_t bar_width = 30;

void print_line(const std::string& indent, const char* name, const std::string& text) {
  std::printf("%s%-13s%s\n", indent.c_str(), name, text.c_str());
}

}  // namespace

void print_outcome(const Outcome& outcome, const std::string& envelope, const std::string& indent) {
  if (!envelope.empty()) print_line(indent, "sent", shortened(envelope));
  print_line(indent, "answer", outcome.answer.empty() ? "none" : shortened(outcome.answer));
  print_line(indent, "status", outcome.sentence());
  print_line(indent, "server error",
             outcome.server_error == 0 ? "none" : std::to_string(outcome.server_error));
}

nlohmann::json to_json(const Outcome& outcome, const std::string& envelope) {
  nlohmann::json json = {{"status", {{"error_type", outcome.error_type}, {"code", outcome.code}}},
                         {"server_error", outcome.server_error},
                         {"sentence", outcome.sentence()}};
  const auto parsed_or_text = [](const std::string& text) {
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    return value.is_discarded() ? nlohmann::json(text) : value;
  };
  json["sent"] = envelope.empty() ? nlohmann::json() : parsed_or_text(envelope);
  json["answer"] = outcome.answer.empty() ? nlohmann::json() : parsed_or_text(outcome.answer);
  return json;
}

std::string shortened(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text;
  // Not inside a character.
  while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
  return text.substr(0, limit) + "... (" + std::to_string(text.size() - limit) + " more bytes)";
}

ProgressBar::ProgressBar(bool is_terminal, std::string indent)
    : is_terminal_(is_terminal), indent_(std::move(indent)) {}

void ProgressBar::show(std::uint32_t state, std::uint32_t percent, const std::string& text) {
  static const char* const names[] = {"prepared", "connecting", "sending", "sent", "done"};
  if (!is_terminal_) return;
  const std::uint32_t filled = percent * bar_width / 100;
  const std::string bar = std::string(filled, '#') + std::string(bar_width - filled, '.');
  std::printf("\r%s[%s] %3u%% %-10s %-50s", indent_.c_str(), bar.c_str(), percent,
              names[state <= 4 ? state : 0], shortened(text, 48).c_str());
  std::fflush(stdout);
  is_drawn_ = true;
}

void ProgressBar::end() {
  if (is_drawn_) std::printf("\n");
  is_drawn_ = false;
}

}  // namespace devkit
