#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

/// Where virtual operations stand in their interface's table. Both compilers of this project write
/// a pointer to a virtual member as one more than the operation's offset in the table.
namespace slots {

template <class Member>
std::size_t slot(Member member) {
  struct Representation {
    std::uintptr_t offset_and_one;
    std::ptrdiff_t adjustment;
  };
  return (std::bit_cast<Representation>(member).offset_and_one - 1) / sizeof(void*);
}

}  // namespace slots
