#include "devkit/msgbus/topics.h"

#include <charconv>

namespace devkit::bus {

namespace {

constexpr std::string_view channel_prefix = "channel/";
constexpr std::string_view reply_prefix = "reply/";
constexpr std::string_view presence_prefix = "presence/";
/// A topic's length is a 16-bit number.
constexpr std::size_t longest = 65535;

/// Wild cards, levels and control characters have a meaning in a topic, or no place there.
bool is_plain(char character) {
  return character > ' ' && character < '\x7F' && character != '%' && character != '+' &&
         character != '#' && character != '/';
}

std::string escaped(std::string_view text) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    if (is_plain(character)) {
      result += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      result += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return result;
}

std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(&text[i + 1], &text[i + 1] + 2, byte, 16).ptr == &text[i + 1] + 2) {
      result += static_cast<char>(byte);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::optional<std::string> behind(std::string_view prefix, std::string_view topic) {
  if (!topic.starts_with(prefix)) return std::nullopt;
  return unescaped(topic.substr(prefix.size()));
}

}  // namespace

std::optional<std::string> channel_topic(std::string_view channel) {
  std::string topic = std::string(channel_prefix) + escaped(channel);
  if (topic.size() > longest) return std::nullopt;
  return topic;
}

std::string reply_topic(std::string_view process) {
  return std::string(reply_prefix) + escaped(process);
}

std::string presence_topic(std::string_view process) {
  return std::string(presence_prefix) + escaped(process);
}

std::optional<std::string> topic_channel(std::string_view topic) {
  return behind(channel_prefix, topic);
}

std::optional<std::string> topic_replied(std::string_view topic) {
  return behind(reply_prefix, topic);
}

std::optional<std::string> topic_present(std::string_view topic) {
  return behind(presence_prefix, topic);
}

}  // namespace devkit::bus
