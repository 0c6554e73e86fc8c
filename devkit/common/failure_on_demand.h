#pragma once

#include <cstdint>

namespace devkit {

/// The number that an operation is to answer by the wish of the environment, 0 if there is none.
/// The variable holds "operation:number", or a number alone, which means `usual`; several wishes
/// are separated by commas. What can't be read is told about on standard error and left out.
std::uint32_t failure_on_demand(const char* variable, const char* operation, const char* usual);

}  // namespace devkit
