#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/splicectl/guardian_files.h"

namespace devkit {

/// What would become of a request.
struct Prospect {
  bool is_allowed;
  std::string why;  ///< a sentence
};

/// For a request to the service at `now`, by the module's own rules. A service without a circuit
/// gets a new one with the request.
Prospect prospect(const GuardianFiles& files, const std::string& service, std::int64_t now);

/// The circuits, or the one of `service` if that isn't empty, and the prospects of a request now.
nlohmann::json circuits_json(const GuardianFiles& files, const std::string& service);
/// The same as a table with a sentence for each; each line begins with `indent`.
std::string circuits_text(const GuardianFiles& files, const std::string& service,
                          const std::string& indent);

}  // namespace devkit
