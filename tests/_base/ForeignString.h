#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "_base/IMemMgr.h"
#include "_base/StringT.h"

/// A string's packed block read and written byte by byte, and strings as another module would make
/// them: with a memory manager of their own.
namespace strings {

enum class Guard { head, second, tail };
inline constexpr Guard all_guards[] = {Guard::head, Guard::second, Guard::tail};

/// The raw block of a string that has one. Knows the layout by its own numbers.
template <class Ch>
class Block {
 public:
  explicit Block(Ch* text) : text_(reinterpret_cast<unsigned char*>(text)) {}
  explicit Block(zv::StringT<Ch>& string) : Block(string.buffer()) {}

  static std::uint64_t size(std::uint64_t capacity) {
    return 4 + 8 + 4 + (capacity + 1) * sizeof(Ch) + 4;
  }

  unsigned char* start() const { return text_ - 16; }
  zv::StringRecord* record() const { return load<zv::StringRecord*>(text_ - 12); }
  unsigned char* address(Guard guard) const {
    switch (guard) {
      case Guard::head:
        return text_ - 16;
      case Guard::second:
        return text_ - 4;
      default:
        return text_ + (record()->capacity + 1) * sizeof(Ch);
    }
  }
  std::uint32_t value(Guard guard) const { return load<std::uint32_t>(address(guard)); }
  /// Doing it twice mends the guard.
  void damage(Guard guard, std::size_t byte = 0) const {
    unsigned char& damaged = address(guard)[byte];
    damaged = static_cast<unsigned char>(damaged ^ 0xFF);
  }

 private:
  template <class T>
  static T load(const unsigned char* from) {
    T value;
    std::memcpy(&value, from, sizeof(value));
    return value;
  }

  unsigned char* text_;
};

struct MemoryCall {
  enum Kind { allocate, reallocate, free, release } kind;
  const void* pointer = nullptr;
  std::uint64_t size = 0;

  friend bool operator==(const MemoryCall&, const MemoryCall&) = default;
  friend std::ostream& operator<<(std::ostream& out, const MemoryCall& call) {
    static constexpr const char* names[] = {"Allocate", "Reallocate", "Free", "Release"};
    return out << names[call.kind] << '(' << call.pointer << ", " << call.size << ')';
  }
};

/// Notes what it is asked for. New memory is full of rubbish, and so is freed memory.
class NotingManager final : public zv::IMemMgr {
 public:
  NotingManager() = default;
  NotingManager(const NotingManager&) = delete;
  NotingManager& operator=(const NotingManager&) = delete;
  ~NotingManager() {
    for (const auto& [pointer, size] : sizes_) std::free(pointer);
  }

  bool refuses_allocate = false;
  bool refuses_reallocate = false;
  std::vector<MemoryCall> calls;

  std::size_t held() const { return sizes_.size(); }

  void* Allocate(std::uint64_t size) override {
    calls.push_back({MemoryCall::allocate, nullptr, size});
    return refuses_allocate ? nullptr : make(size);
  }
  void* Reallocate(void* pointer, std::uint64_t size) override {
    calls.push_back({MemoryCall::reallocate, pointer, size});
    if (refuses_reallocate) return nullptr;
    void* const fresh = make(size);
    if (pointer != nullptr) {
      std::memcpy(fresh, pointer, std::min(sizes_.at(pointer), size));
      drop(pointer);
    }
    return fresh;
  }
  void Free(void* pointer) override {
    calls.push_back({MemoryCall::free, pointer, 0});
    if (pointer != nullptr) drop(pointer);
  }
  void Release() override { calls.push_back({MemoryCall::release, nullptr, 0}); }

  void* make(std::uint64_t size) {
    void* const pointer = std::malloc(size);
    std::memset(pointer, 0xEE, size);
    sizes_[pointer] = size;
    return pointer;
  }

 private:
  void drop(void* pointer) {
    std::memset(pointer, 0xDD, sizes_.at(pointer));
    sizes_.erase(pointer);
    std::free(pointer);
  }

  std::map<void*, std::uint64_t> sizes_;
};

struct Shape {
  std::uint64_t capacity = 64;
  std::uint64_t grow_step = 64;
  bool block_on_heap = true;
  bool record_on_heap = true;
};

/// A string of another module, built by hand: block and record are that module's, and come from
/// `manager` where the shape puts them on the heap. What isn't on the heap is this object's own.
template <class Ch>
class ForeignString {
 public:
  ForeignString(NotingManager& manager, const std::basic_string<Ch>& text,
                const Shape& shape = {}) {
    const std::uint64_t size = Block<Ch>::size(shape.capacity);
    own_block_.assign(size + slack, 0);
    auto* const block = shape.block_on_heap
                            ? static_cast<unsigned char*>(manager.make(size + slack))
                            : own_block_.data();
    auto* const record =
        shape.record_on_heap
            ? static_cast<zv::StringRecord*>(manager.make(sizeof(zv::StringRecord)))
            : &own_record_;
    std::memset(block, 0, size + slack);
    *record = {&manager,
               text.size(),
               shape.capacity,
               shape.grow_step,
               static_cast<std::uint8_t>(shape.block_on_heap),
               static_cast<std::uint8_t>(shape.record_on_heap)};
    const std::uint32_t guard = 0xABCD;
    std::memcpy(block, &guard, 4);
    std::memcpy(block + 4, &record, 8);
    std::memcpy(block + 12, &guard, 4);
    std::memcpy(block + 16, text.data(), text.size() * sizeof(Ch));
    std::memcpy(block + size - 4, &guard, 4);
    const unsigned char* const start_of_text = block + 16;
    std::memcpy(static_cast<void*>(&string), &start_of_text, sizeof(start_of_text));
  }
  ForeignString(const ForeignString&) = delete;
  ForeignString& operator=(const ForeignString&) = delete;

  Block<Ch> block() { return Block<Ch>(string); }

 private:
  /// Zeros after the block, so that a count that runs over its end stops in memory of its own.
  static constexpr std::size_t slack = 64;

  std::vector<unsigned char> own_block_;
  zv::StringRecord own_record_{};

 public:
  zv::StringT<Ch> string;  ///< goes first at the end
};

/// `text` in the characters of Ch.
template <class Ch>
std::basic_string<Ch> wide_or_narrow(const std::string& text) {
  return {text.begin(), text.end()};
}

/// What a rethrow with nothing in flight leaves on the error stream.
inline constexpr char fail_fast[] = "terminate called without an active exception";

}  // namespace strings
