#include "support/guardian_inside.h"

#include <atomic>

namespace support {

namespace {

using cloud::guardian::circuit_breaker;
using cloud::guardian::services_storage;

std::unique_ptr<services_storage>& reach_storage(circuit_breaker& breaker);
std::shared_ptr<const guardian_config>& reach_config(services_storage& storage);
std::atomic<bool>& reach_news_of_config(services_storage& storage);

// An explicit instantiation may name what is private, so the classes need no friends.

template <auto Member>
struct WayIntoBreaker {
  friend std::unique_ptr<services_storage>& reach_storage(circuit_breaker& breaker) {
    return breaker.*Member;
  }
};
template struct WayIntoBreaker<&circuit_breaker::storage>;

template <auto Member>
struct WayIntoStorage {
  friend std::shared_ptr<const guardian_config>& reach_config(services_storage& storage) {
    return storage.*Member;
  }
};
template struct WayIntoStorage<&services_storage::config>;

template <auto Member>
struct WayToNews {
  friend std::atomic<bool>& reach_news_of_config(services_storage& storage) {
    return storage.*Member;
  }
};
template struct WayToNews<&services_storage::config_modified>;

}  // namespace

services_storage& storage_in(circuit_breaker& breaker) {
  return *reach_storage(breaker);
}

std::shared_ptr<const guardian_config> config_in(services_storage& storage) {
  return reach_config(storage);
}

bool has_news_of_config(services_storage& storage) {
  return reach_news_of_config(storage);
}

ReferenceBreaker::Circuits circuits_of(const services_map& services) {
  ReferenceBreaker::Circuits circuits;
  for (const auto& [service, info] : services) {
    auto& circuit = circuits[service];
    circuit = {static_cast<std::int32_t>(info.state),
               info.counter,
               info.index,
               info.next_request_time,
               {},
               info.blocked,
               info.allowed};
    for (const auto& error : info.errors) {
      circuit.errors.push_back({error.value, error.field, error.method});
    }
  }
  return circuits;
}

ReferenceBreaker::Circuits circuits_in(circuit_breaker& breaker) {
  return circuits_of(storage_in(breaker).circuits());
}

}  // namespace support
