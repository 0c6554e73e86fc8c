#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/RecordingLog.h"

/// How often this line was written, whichever function it names.
inline std::size_t times_said(const support::RecordingLog& log, std::uint32_t level,
                              const std::wstring& text) {
  std::size_t times = 0;
  for (const auto& line : log.lines(level)) times += line.text == text ? 1 : 0;
  return times;
}

/// The calls, without those that only ask for something.
inline std::vector<std::string> deeds(std::vector<std::string> calls) {
  std::erase_if(calls, [](const std::string& call) {
    return call.starts_with("GetChannel") || call.starts_with("CreateMessage") ||
           call.starts_with("IsListening");
  });
  return calls;
}

/// Brings a private member function to light: `template struct Exposed<Tag, &Class::member>;` makes
/// `exposed(Tag{})` give it, where the tag declares that function as a friend. An explicit
/// instantiation may name what is private. The tag stands in the global namespace, as this does.
template <class Tag, auto Member>
struct Exposed {
  friend auto exposed(Tag) { return Member; }
};
