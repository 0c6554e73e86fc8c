#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace zv {

struct StringRecord;

/// The packed block that a string's text lies in, reached from the text as the string itself
/// reaches it. Neither the record pointer nor the tail guard is aligned, so all fields but the text
/// are copied in and out.
template <class Ch>
struct StringBlock {
  static constexpr std::uint32_t guard = 0xABCD;

  static constexpr std::uint64_t head_size = sizeof(guard) + sizeof(void*) + sizeof(guard);
  static constexpr std::uint64_t empty_size = head_size + sizeof(Ch) + sizeof(guard);

  /// False if the block's size can't be written as a number.
  static constexpr bool IsPossible(std::uint64_t capacity) {
    return capacity <= (std::numeric_limits<std::uint64_t>::max() - empty_size) / sizeof(Ch);
  }
  /// Bytes of a block whose text field holds `capacity` characters and a NUL.
  static constexpr std::uint64_t Size(std::uint64_t capacity) {
    return empty_size + capacity * sizeof(Ch);
  }

  static void* Start(Ch* text) noexcept { return Bytes(text) - head_size; }

  static StringRecord* Record(const Ch* text) noexcept {
    return Load<StringRecord*>(Bytes(text) - head_size + sizeof(guard));
  }
  static bool HeadStands(const Ch* text) noexcept {
    return Load<std::uint32_t>(Bytes(text) - head_size) == guard &&
           Load<std::uint32_t>(Bytes(text) - sizeof(guard)) == guard;
  }
  static bool TailStands(const Ch* text, std::uint64_t capacity) noexcept {
    return Load<std::uint32_t>(Bytes(text + capacity + 1)) == guard;
  }

  /// Writes everything but the text, and the NUL that ends the text field. Returns the text.
  static Ch* Write(void* start, StringRecord* record, std::uint64_t capacity) noexcept {
    auto* const head = static_cast<unsigned char*>(start);
    auto* const text = reinterpret_cast<Ch*>(head + head_size);
    Store(head, guard);
    Store(head + sizeof(guard), record);
    Store(Bytes(text) - sizeof(guard), guard);
    Store(Bytes(text + capacity + 1), guard);
    text[capacity] = Ch{};
    return text;
  }

 private:
  static unsigned char* Bytes(Ch* text) noexcept { return reinterpret_cast<unsigned char*>(text); }
  static const unsigned char* Bytes(const Ch* text) noexcept {
    return reinterpret_cast<const unsigned char*>(text);
  }

  template <class Field>
  static Field Load(const unsigned char* at) noexcept {
    Field field;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): one of the fields is a pointer
    std::memcpy(&field, at, sizeof(Field));
    return field;
  }
  template <class Field>
  static void Store(unsigned char* at, const Field& field) noexcept {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): one of the fields is a pointer
    std::memcpy(at, &field, sizeof(Field));
  }
};

static_assert(StringBlock<char>::Size(100) == 100 + 21);
static_assert(StringBlock<char16_t>::Size(100) == 2 * 100 + 22);

}  // namespace zv
