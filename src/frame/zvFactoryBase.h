#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/abi.h"

/// A node of the chain that finds plug-ins by name. The chain changes only while the module is
/// loaded and unloaded, and has no lock. Registration puts a factory in front, so the one
/// registered last is asked first.
class zvFactoryBase {
 public:
  zvFactoryBase(const zvFactoryBase&) = delete;
  zvFactoryBase& operator=(const zvFactoryBase&) = delete;
  /// Takes the factory out of the chain.
  virtual ~zvFactoryBase();

  /// The facet `id` of the first live plug-in that has it, from here to the chain's end, or null.
  virtual void* Query(const IID& id) = 0;
  virtual std::uint32_t Create(const wchar_t* name, IID id, void** out) = 0;
  virtual void Destroy(const wchar_t* name, void* object) = 0;

  /// The only entry to the chain; null when there is no factory.
  static zvFactoryBase* head() noexcept;

 protected:
  /// Puts the factory in front of the chain.
  zvFactoryBase() noexcept;

  zvFactoryBase* next;
};
