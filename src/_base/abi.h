#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

/// How the interfaces that other modules see are laid out in memory.
///
/// Hosts and the closed libraries are compiled by MSVC for x64. Whichever compiler builds this
/// module, its tables and records have to look as MSVC would lay them out. GCC and clang (for any
/// target but MSVC's own) differ from MSVC in three places, hence three rules:
///
///   1. MSVC spends one slot on a virtual destructor, a function that is told by flags whether to
///      free as well. The Itanium C++ ABI spends two, which would shift all that follows. An
///      interface therefore declares `scalar_deleting_destructor` where the destructor stands, and
///      its implementation forwards to msvc_abi::run_destructor.
///   2. MSVC gives the overloads of one name their slots from the last declared to the first, so
///      they are declared through ABI_OVERLOADS_2 or _3, whose arguments are in slot order.
///   3. MSVC returns a record by writing to a pointer that it passes behind `this`. GCC prefers a
///      register for a small one, so the pointer is declared: first parameter and result.
///
/// Besides: an interface has no data, and what passes is integers, pointers, plain records and
/// zv::StringT. A bool is a byte and an enumeration an int, as both compilers have it by
/// themselves. Linux needs none of this, but follows it, so that tests there tell of Windows too.

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

/// An interface's identity, compared as a whole. Passed by value it needs no help: the compilers
/// agree on how a record of 16 bytes travels.
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
