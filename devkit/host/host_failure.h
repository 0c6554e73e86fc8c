#pragma once

#include "devkit/common/failure_on_demand.h"

namespace devkit {

/// What an operation of the host is to answer by the wish of SPLICE_HOST_FAIL, 0 if there is none.
/// Of those without a status any number but 0 means null or false; the name of a plug-in stands for
/// the request for it.
inline std::uint32_t host_failure(const char* operation) {
  return failure_on_demand(
      "SPLICE_HOST_FAIL", operation,
      {"querier", "execution", "enqueue_task", "get_plugin_manager", "get_execution_service",
       "add_observer", "productagent", "productagentcommclient", "GetUserInfo", "RegisterEvents",
       "UnregisterEvents", "cloud_requests", "connect_integrator"});
}

}  // namespace devkit
