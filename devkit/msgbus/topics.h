#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devkit::bus {

/// Where things lie at the broker: messages of a channel on channel/<channel>, replies to a process
/// on reply/<process>, and what a process announces, kept by the broker, on presence/<process>.

inline constexpr const char* all_channels = "channel/+";
inline constexpr const char* all_replies = "reply/+";
inline constexpr const char* all_presences = "presence/+";

/// Any name will do; what a topic can't hold is written as %XX. Null if it gets too long for one.
std::optional<std::string> channel_topic(std::string_view channel);
std::string reply_topic(std::string_view process);
std::string presence_topic(std::string_view process);

/// The other way; null if it is a topic of another kind.
std::optional<std::string> topic_channel(std::string_view topic);
std::optional<std::string> topic_replied(std::string_view topic);
std::optional<std::string> topic_present(std::string_view topic);

}  // namespace devkit::bus
