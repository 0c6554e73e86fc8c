#pragma once

#include "_base/waiting.h"
#include "support/ScriptedConnectRequests.h"

namespace support {

/// Keeps requests from getting an answer for as long as it lives, and so the worker from the tables
/// and the log. A test in which the cloud refuses commands needs that: they leave their table
/// without its lock, as is meant, and no listing may look there meanwhile. Made before the first
/// listing is asked for.
class HeldListings {
 public:
  explicit HeldListings(ScriptedConnectRequests& requests) {
    requests.while_resolving([gate = gate_](const ResolvedRequest&) { gate.wait(); });
  }
  HeldListings(const HeldListings&) = delete;
  HeldListings& operator=(const HeldListings&) = delete;
  ~HeldListings() { let_go(); }

  void let_go() { gate_.open(); }

 private:
  const waiting::Gate gate_;
};

}  // namespace support
