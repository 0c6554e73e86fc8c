#pragma once

// The product's string, written anew for this host: one pointer to the text, which lies in a packed
// block
//   guard | record pointer | guard | text of capacity + 1 characters | guard
// The record beside it names the memory manager that owns both.

#include <stddef.h>
#include <stdint.h>

namespace zv {

class IMemMgr {
 public:
  virtual void* Allocate(uint64_t size) = 0;
  virtual void* Reallocate(void* pointer, uint64_t size) = 0;
  virtual void Free(void* pointer) = 0;
  virtual void Release() = 0;
};

struct StringRecord {
  IMemMgr* manager;
  uint64_t length;
  uint64_t capacity;
  uint64_t grow_step;
  uint8_t block_on_heap;
  uint8_t record_on_heap;
};

// Given by the host program: the manager of every string that the host makes.
IMemMgr* string_manager();

// Called for a string whose guards don't hold; doesn't come back.
[[noreturn]] void string_broken(const char* what);

template <class Ch>
class StringT {
 public:
  StringT() = default;
  StringT(const Ch* text) { *this = text; }
  StringT(const StringT& other) { *this = other.text(); }
  ~StringT() { destroy(); }

  StringT& operator=(const StringT& other) { return this == &other ? *this : *this = other.text(); }

  StringT& operator=(const Ch* text) {
    destroy();
    if (text) create(text, 0);
    return *this;
  }

  // Puts the text into a block that holds at least `capacity` characters.
  void create(const Ch* text, uint64_t capacity) {
    destroy();
    uint64_t length = 0;
    while (text[length]) ++length;
    if (capacity < length) capacity = length;

    IMemMgr* manager = string_manager();
    auto* own = static_cast<StringRecord*>(manager->Allocate(sizeof(StringRecord)));
    *own = {manager, length, capacity, 64, 1, 1};
    auto* block = static_cast<uint8_t*>(manager->Allocate((capacity + 1) * sizeof(Ch) + 20));
    text_ = reinterpret_cast<Ch*>(block + 16);
    put(block, guard);
    __builtin_memcpy(block + 4, &own, sizeof(own));
    put(block + 12, guard);
    __builtin_memcpy(text_, text, (length + 1) * sizeof(Ch));
    text_[capacity] = 0;
    put(text_ + capacity + 1, guard);
  }

  const Ch* text() const {
    static constexpr Ch empty[1] = {};
    return text_ ? text_ : empty;
  }
  bool is_null() const { return !text_; }
  uint64_t length() const { return text_ ? record()->length : 0; }

  StringRecord* record() const {
    StringRecord* result;
    __builtin_memcpy(&result, reinterpret_cast<const uint8_t*>(text_) - 12, sizeof(result));
    return result;
  }

 private:
  static constexpr uint32_t guard = 0xABCD;

  static void put(void* place, uint32_t value) { __builtin_memcpy(place, &value, sizeof(value)); }
  static void check(const void* place, const char* what) {
    uint32_t value;
    __builtin_memcpy(&value, place, sizeof(value));
    if (value != guard) string_broken(what);
  }

  void destroy() {
    if (!text_) return;
    auto* bytes = reinterpret_cast<uint8_t*>(text_);
    StringRecord* own = record();
    check(bytes - 16, "head guard");
    check(bytes - 4, "second guard");
    check(text_ + own->capacity + 1, "tail guard");

    // The record goes last, so the manager is taken out of it first.
    IMemMgr* manager = own->manager;
    if (own->block_on_heap) manager->Free(bytes - 16);
    if (own->record_on_heap) manager->Free(own);
    manager->Release();
    text_ = nullptr;
  }

  Ch* text_ = nullptr;
};

}  // namespace zv
