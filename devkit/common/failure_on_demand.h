#pragma once

#include <cstdint>
#include <initializer_list>

namespace devkit {

/// The number that an operation is to answer by the wish of the environment, 0 if there is none.
/// The variable holds "operation:number", or a number alone, which means the first of the
/// operations `known`; several wishes are separated by commas. What can't be read, or names no
/// known operation, is told about on standard error and left out.
std::uint32_t failure_on_demand(const char* variable, const char* operation,
                                std::initializer_list<const char*> known);

}  // namespace devkit
