#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "guardian/circuit_breaker.h"
#include "support/EventsRecorder.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"
#include "support/guardian_inside.h"

namespace support {

/// A breaker on a folder of its own, with the service "svc" for its one circuit.
class BreakerTest : public testing::Test {
 protected:
  explicit BreakerTest(const guardian_config& packaged = GuardianFolder::config(),
                       const std::filesystem::path& base = std::filesystem::temp_directory_path())
      : folder(packaged, base), events(folder.path()) {}

  cloud::guardian::circuit_breaker& make_breaker() {
    breaker = std::make_unique<cloud::guardian::circuit_breaker>();
    return *breaker;
  }
  /// A breaker that finds this circuit in the services file.
  cloud::guardian::circuit_breaker& make_breaker(const nlohmann::json& circuit) {
    folder.plant("svc", circuit);
    return make_breaker();
  }

  bool ask() { return breaker->IsSendAllowed("svc"); }
  void succeed() { breaker->process_request_succeded("svc"); }
  void fail() { breaker->process_request_server_error("svc"); }
  void fail(const request_failure& failure) {
    breaker->process_request_server_error("svc", failure);
  }

  /// As the services file has it.
  nlohmann::json stored() const { return folder.circuit("svc"); }
  /// As the breaker's memory has it.
  const service_info& remembered() const { return storage_in(*breaker).circuits().at("svc"); }

  static nlohmann::json with(nlohmann::json circuit, const nlohmann::json& changes) {
    circuit.update(changes);
    return circuit;
  }
  static std::int64_t in_seconds(std::int64_t seconds) {
    return GuardianFolder::start_seconds + seconds;
  }
  static std::int64_t in_ticks(std::int64_t seconds) {
    return GuardianFolder::start + seconds * ticks_per_second;
  }

  RecordingLog log;
  GuardianFolder folder;
  EventsRecorder events;
  std::unique_ptr<cloud::guardian::circuit_breaker> breaker;
};

}  // namespace support
