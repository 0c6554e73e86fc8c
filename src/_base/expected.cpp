#include "_base/expected.h"

namespace stdext {

const char* bad_expected_access::what() const noexcept {
  return "bad expected access";
}

}  // namespace stdext
