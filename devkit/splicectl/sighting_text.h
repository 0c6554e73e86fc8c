#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "devkit/common/Pending.h"
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

  /// Of requests without a reply so far.
  Pending<std::uint64_t> numbers_;
  std::uint64_t last_number_ = 0;
};

}  // namespace devkit
