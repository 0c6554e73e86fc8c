#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "devkit/zvnc/PushRegistrations.h"

namespace zvnc {

/// Reads the lines of a push stream, however they are cut into pieces:
///   hello\n                     the server knows the registrations
///   beat\n                      a sign of life
///   push <bytes> <target>\n     followed by so many bytes
class PushFrames {
 public:
  /// False ends the reading.
  std::function<bool()> on_hello;
  std::function<bool(const PushTarget& target, std::string text)> on_push;

  /// False if it makes no sense, or if one of the two said so. May throw std::bad_alloc.
  bool take(std::string_view bytes);

 private:
  bool take_line(std::string_view line);

  std::string unread_;
  bool in_text_ = false;
  std::size_t text_size_ = 0;
  PushTarget target_;
};

}  // namespace zvnc
