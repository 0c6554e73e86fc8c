#pragma once

#include "devkit/common/failure_on_demand.h"

namespace devkit::bus {

/// What SPLICE_BUS_FAIL wishes of `operation`, 0 if nothing. A number alone is SendAndWait's
/// answer. For operations without a status any number but 0 does: they give null or false, `Send`
/// and `SetReply` lose the message, `AddListener` isn't heard, and `NoReply` lets each SendAndWait
/// run out of time.
inline std::uint32_t wished_failure(const char* operation) {
  return failure_on_demand(
      "SPLICE_BUS_FAIL", operation,
      {"SendAndWait", "NoReply", "ZvGetInterface", "get_bus", "QueryInterface", "Core",
       "CreateMessage", "GetChannel", "Subscribe", "SubscriptionGetChannel", "SetCallback", "Send",
       "SetReply", "AddListener", "IsListening", "AddObserver", "RemoveObserver"});
}

inline bool fails(const char* operation) {
  return wished_failure(operation) != 0;
}

}  // namespace devkit::bus
