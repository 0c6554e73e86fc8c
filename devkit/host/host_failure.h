#pragma once

#include "devkit/common/failure_on_demand.h"

namespace devkit {

/// What an operation of the host is to answer by the wish of SPLICE_HOST_FAIL, 0 if there is none.
/// Of those without a status any number but 0 means null or false.
inline std::uint32_t host_failure(const char* operation) {
  return failure_on_demand("SPLICE_HOST_FAIL", operation,
                           {"querier", "execution", "enqueue_task", "get_plugin_manager",
                            "get_execution_service", "add_observer"});
}

}  // namespace devkit
