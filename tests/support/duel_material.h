#pragma once

#include <string>
#include <vector>

#include "support/ReferenceBreaker.h"

/// What the steps of a duel choose from.
namespace support::duel {

/// As they come from the cloud, or lie in the cache; some of them unusable.
extern const std::vector<std::string> configurations;
/// As somebody may have left them; some of them unusable.
extern const std::vector<std::string> circuit_files;
/// The last one can't be written.
extern const std::vector<ReferenceBreaker::Failure> failures;

/// The settings file that ships, with the first configuration.
std::string packaged_settings();

}  // namespace support::duel
