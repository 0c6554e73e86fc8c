#pragma once

#include <cstdint>

namespace zv {

/// Allocates the blocks and records of strings. Crosses the module's edge: a string that came from
/// another module names that module's manager. Any thread may call it.
class IMemMgr {
 public:
  /// `size` bytes, or null when memory ran out.
  virtual void* Allocate(std::uint64_t size) = 0;
  /// `pointer` (which may be null) grown or shrunk to `size` bytes, or null, `pointer` then
  /// staying valid.
  virtual void* Reallocate(void* pointer, std::uint64_t size) = 0;
  virtual void Free(void* pointer) = 0;
  /// Called by a string that has let go of its block and record for good.
  virtual void Release() = 0;

 protected:
  ~IMemMgr() = default;
};

}  // namespace zv
