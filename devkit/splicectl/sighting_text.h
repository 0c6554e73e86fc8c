#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/msgbus/Watch.h"

namespace devkit {

/// A sighting as one JSON object.
nlohmann::json to_json(const bus::Sighting& sighting);

/// Sightings as lines for people: requests get a number, by which their replies are found.
class SightingLines {
 public:
  std::string line(const bus::Sighting& sighting);

 private:
  std::string number_of(const std::string& correlation);

  std::map<std::string, std::uint64_t> numbers_;  ///< of requests without a reply so far
  std::uint64_t last_number_ = 0;
};

}  // namespace devkit
