#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

/// The binary contract of every interface that crosses the module's edge.
///
/// Hosts and the closed libraries are compiled by MSVC for x64. Whichever compiler builds this
/// module, its tables and records have to look as MSVC would lay them out. GCC and clang (for any
/// target but MSVC's own) differ from MSVC in three places, hence three rules:
///
///   1. A virtual destructor is one slot. MSVC emits one (the scalar deleting destructor, taking
///      flags), the Itanium C++ ABI emits two, and everything declared after it would shift. An
///      interface therefore declares `scalar_deleting_destructor` where the destructor stands, and
///      its implementation forwards to msvc_abi::run_destructor.
///   2. Overloads stand in the stated slot order. MSVC lays the overloads of one name out in
///      reverse of their declaration, so they are declared through ABI_OVERLOADS_2 or _3.
///   3. A record returned by value goes through a hidden pointer that follows `this`. GCC would
///      return a small one in a register, so the pointer is declared: first parameter and result.
///
/// Besides: an interface has no data; integers, pointers, zv::StringT and plain records are all
/// that passes; `bool` is one byte, enumerations are 32 bits. The same rules hold on Linux, so that
/// one set of headers and tests serves both.

#if defined(_WIN32)
#define ABI_EXPORT extern "C" __declspec(dllexport)
#else
#define ABI_EXPORT extern "C" __attribute__((visibility("default")))
#endif

#if defined(_MSC_VER)
#define ABI_OVERLOADS_2(first, second) second first
#define ABI_OVERLOADS_3(first, second, third) third second first
#else
#define ABI_OVERLOADS_2(first, second) first second
#define ABI_OVERLOADS_3(first, second, third) first second third
#endif

// Not `abi`: <cxxabi.h> has that name.
namespace msvc_abi {

/// The bit of the destructor slot's flags that asks for the memory to be freed as well.
inline constexpr std::uint32_t free_memory = 1;

/// The body of a destructor slot: ends `object`, and frees it if `flags` say so. `Class` must be
/// the complete type that was created with `new`. Returns the object's address, as MSVC does.
template <class Class>
void* run_destructor(Class* object, std::uint32_t flags) {
  void* const address = object;
  if ((flags & free_memory) != 0) {
    delete object;
  } else {
    object->~Class();
  }
  return address;
}

/// What `delete` is to an ordinary class: ends and frees an object behind an interface. Null is
/// fine.
template <class Interface>
void destroy(Interface* object) {
  if (object != nullptr) object->scalar_deleting_destructor(free_memory);
}

}  // namespace msvc_abi

/// An interface's identity, compared as a whole. Passed by value it travels as the platform passes
/// a 16-byte record: on Windows as a pointer to a copy.
struct IID {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];

  friend bool operator==(const IID& a, const IID& b) {
    return std::memcmp(&a, &b, sizeof(IID)) == 0;
  }
};
static_assert(sizeof(IID) == 16);
