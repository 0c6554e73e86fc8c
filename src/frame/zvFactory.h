#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "_base/abi.h"
#include "_base/win_error.h"
#include "frame/IServPlugin.h"
#include "frame/zvFactoryBase.h"

namespace zv::framework {

/// Bounded copy that always terminates, and unit-by-unit comparison, of a factory's names.
void copy_factory_name(wchar_t* field, std::size_t size, const wchar_t* name) noexcept;
bool same_factory_name(const wchar_t* a, const wchar_t* b) noexcept;

}  // namespace zv::framework

/// The factory of one plug-in. However many callers ask, there is one object, which goes when the
/// last of them has given it back; starting it is the callers' affair. Construction and destruction
/// happen under the factory's lock.
template <class T>
class zvFactory final : public zvFactoryBase {
 public:
  explicit zvFactory(const wchar_t* plugin_name) {
    zv::framework::copy_factory_name(name, name_size, plugin_name);
    zv::framework::copy_factory_name(alternate_name, name_size, L"");
  }

  void* Query(const IID& id) override {
    {
      const std::lock_guard guard(lock);
      if (instance != nullptr) {
        if (void* const facet = instance->QueryInterface(id)) return facet;
      }
    }
    return next != nullptr ? next->Query(id) : nullptr;
  }

  std::uint32_t Create(const wchar_t* wanted, IID id, void** out) override {
    if (out == nullptr) return win_error::invalid_data;
    *out = nullptr;
    if (wanted == nullptr) return win_error::invalid_data;
    // Before the name: the answer to a foreign id must not depend on who stands in the chain.
    if (!(id == IID_IServPlugin) && !(id == IID_IZvBaseInterface)) return win_error::invalid_data;
    if (!IsNamed(wanted)) {
      return next != nullptr ? next->Create(wanted, id, out) : win_error::not_found;
    }

    const std::lock_guard guard(lock);
    // A count that surplus Destroy calls drove below zero builds nothing: it has to come back to
    // zero first. Meant so.
    if (ref_count == 0) instance = new T();
    if (instance != nullptr) *out = instance->QueryInterface(id);
    ++ref_count;
    return *out != nullptr ? win_error::success : win_error::out_of_memory;
  }

  void Destroy(const wchar_t* wanted, void* object) override {
    // The name says it all; of the object only null is noticed.
    if (object == nullptr || wanted == nullptr || !IsNamed(wanted)) {
      if (next != nullptr) next->Destroy(wanted, object);
      return;
    }

    const std::lock_guard guard(lock);
    if (--ref_count == 0) {
      msvc_abi::destroy(instance);
      instance = nullptr;
    }
  }

 private:
  static constexpr std::size_t name_size = 1024;

  bool IsNamed(const wchar_t* wanted) const noexcept {
    if (zv::framework::same_factory_name(wanted, name)) return true;
    return alternate_name[0] != L'\0' && zv::framework::same_factory_name(wanted, alternate_name);
  }

  std::recursive_mutex lock;  ///< guards instance and ref_count
  T* instance = nullptr;
  std::int32_t ref_count = 0;
  wchar_t name[name_size];
  wchar_t alternate_name[name_size];
};
