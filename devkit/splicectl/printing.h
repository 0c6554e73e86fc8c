#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "devkit/host/Host.h"

namespace devkit {

/// The envelope as the cloud saw it, the answer, the status and the server's error, beside their
/// names. `indent` stands before each line.
void print_outcome(const Outcome& outcome, const std::string& envelope, const std::string& indent);
/// The same as one JSON object.
nlohmann::json to_json(const Outcome& outcome, const std::string& envelope);

/// A long text's beginning and the number of bytes left out.
std::string shortened(const std::string& text, std::size_t limit = 300);

/// A bar that is drawn over itself on a terminal; without one nothing is drawn until `end`.
class ProgressBar {
 public:
  ProgressBar(bool is_terminal, std::string indent);
  void show(std::uint32_t state, std::uint32_t percent, const std::string& text);
  void end();

 private:
  bool is_terminal_;
  std::string indent_;
  bool is_drawn_ = false;
};

}  // namespace devkit
