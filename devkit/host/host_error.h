#pragma once

#include <stdexcept>

namespace devkit {

/// The module or a part of it can't be had; the text says what to do.
class host_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace devkit
