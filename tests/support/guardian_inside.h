#pragma once

#include <memory>

#include "guardian/circuit_breaker.h"
#include "guardian/services_storage.h"
#include "support/ReferenceBreaker.h"

/// Ways into a breaker, for tests that have to compare what it remembers, or to bring it the
/// watcher's news at a moment of their own choice.
namespace support {

cloud::guardian::services_storage& storage_in(cloud::guardian::circuit_breaker& breaker);
/// Another object after each change of the configuration.
std::shared_ptr<const guardian_config> config_in(cloud::guardian::services_storage& storage);
/// Whether the watcher has seen a new configuration that no operation has taken in yet.
bool has_news_of_config(cloud::guardian::services_storage& storage);

/// The module's records in the reference's terms.
ReferenceBreaker::Circuits circuits_of(const services_map& services);
/// All that it remembers, in the reference's terms.
ReferenceBreaker::Circuits circuits_in(cloud::guardian::circuit_breaker& breaker);

}  // namespace support
