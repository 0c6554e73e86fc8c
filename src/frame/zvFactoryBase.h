#pragma once

#include <cstdint>

#include "_base/abi.h"

/// A link of the chain in which plug-ins are looked up by name. Links come and go only while the
/// module is loaded and unloaded, so the chain needs no lock. A newcomer stands in front.
class zvFactoryBase {
 public:
  zvFactoryBase(const zvFactoryBase&) = delete;
  zvFactoryBase& operator=(const zvFactoryBase&) = delete;
  /// Leaves the chain whole for those that remain.
  virtual ~zvFactoryBase();

  /// The facet `id` of the first live plug-in that has it, from here to the chain's end, or null.
  virtual void* Query(const IID& id) = 0;
  virtual std::uint32_t Create(const wchar_t* name, IID id, void** out) = 0;
  virtual void Destroy(const wchar_t* name, void* object) = 0;

  /// Where a look-up starts; null while nobody is registered.
  static zvFactoryBase* head() noexcept;

 protected:
  /// Puts the factory in front of the chain.
  zvFactoryBase() noexcept;

  zvFactoryBase* next;
};
