#pragma once

#include "_base/IMemMgr.h"

namespace zv {

/// The C heap behind IMemMgr. Has no state; `Release` does nothing.
class StringMemMgr final : public IMemMgr {
 public:
  /// The one instance that every new string of this module names.
  static StringMemMgr& instance() noexcept;

  void* Allocate(std::uint64_t size) override;
  void* Reallocate(void* pointer, std::uint64_t size) override;
  void Free(void* pointer) override;
  void Release() override;
};

}  // namespace zv
