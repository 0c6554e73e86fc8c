#pragma once

#include <cstdint>
#include <string_view>

#include "_base/IMemMgr.h"
#include "_base/StringMemMgr.h"

namespace zv {

/// What a string knows of its block. Lies apart from the block, so that a text can leave an
/// object's inner storage for the heap while the record stays where it is.
struct StringRecord {
  IMemMgr* memory_manager;     ///< gave the memory and takes it back
  std::uint64_t length;        ///< in characters, like the next two, without the NUL
  std::uint64_t capacity;      ///< how long the text may get in this block
  std::uint64_t grow_step;     ///< a new block is larger by at least this
  std::uint8_t block_on_heap;  ///< 0 or 1, like the next: whether the manager's Free is due
  std::uint8_t record_on_heap;
};
static_assert(sizeof(StringRecord) == 40);

/// Character operations of the C runtime, over NUL-terminated texts.
template <class Ch>
struct ChTraitsCRT {
  static std::uint64_t Length(const Ch* text) noexcept;
  static int Compare(const Ch* a, const Ch* b) noexcept;  ///< unit by unit; null is not allowed
};

/// The string that crosses interfaces: one pointer, null being a valid empty string. Copies are
/// deep. `char` holds UTF-8, `wchar_t` the platform's wide text. Sizes are in characters.
///
/// The pointer points at the text inside a packed block:
///
///   u32 guard | StringRecord* | u32 guard | Ch text[capacity + 1] | u32 guard
///
/// A damaged guard, a text that runs beyond its block, and memory that ran out where there is no
/// result to tell it by all end the process at once: a corrupt heap is no place to unwind in.
/// Guards are checked by whatever changes, ends or copies a string, never by a mere reader.
///
/// Not synchronised.
template <class Ch, class MemMgr = StringMemMgr, class Traits = ChTraitsCRT<Ch>, int Version = 1>
class StringT {
 public:
  static constexpr std::uint64_t npos = ~std::uint64_t{0};
  static constexpr std::uint64_t default_grow_step = 64;

  StringT() noexcept = default;
  StringT(const Ch* text);  // NOLINT(google-explicit-constructor): a text is a string
  explicit StringT(std::basic_string_view<Ch> text);
  StringT(const StringT& other);
  ~StringT();

  StringT& operator=(const StringT& other);
  /// Null empties the text but leaves a block: a string that was assigned to is never null again.
  StringT& operator=(const Ch* text);

  /// Makes the block hold `capacity` characters, cutting the text if it was longer. False when
  /// memory ran out; the string is then as it was.
  [[nodiscard]] bool Reserve(std::uint64_t capacity);
  /// Takes `count` characters of `text`; npos means up to its NUL. Changes nothing if `text` is the
  /// string's own, whatever `count` says.
  void Assign(const Ch* text, std::uint64_t count = npos);
  void Append(const Ch* text);
  void AppendChar(Ch character);

  std::uint64_t Length() const noexcept;
  std::uint64_t Capacity() const noexcept;
  bool IsEmpty() const noexcept { return Length() == 0; }

  /// The text, never null.
  const Ch* c_str() const noexcept;
  std::basic_string_view<Ch> view() const noexcept { return {c_str(), Length()}; }

  /// The block's text for foreign code to write into, at most Capacity() characters and a NUL; null
  /// for a null string. RefreshLength has to follow.
  Ch* buffer() noexcept { return text_; }
  /// Counts the length anew, up to the first NUL.
  void RefreshLength();

  /// True if the guards stand, or there is nothing to guard.
  bool IsValid() const noexcept;

 protected:
  /// For a string whose first block and record lie inside the object: `block` has room for
  /// `capacity` characters in the packed form.
  StringT(void* block, StringRecord* record, std::uint64_t capacity,
          std::uint64_t grow_step) noexcept;

  StringRecord* record() const noexcept;

 private:
  std::uint64_t GrowStep() const noexcept;
  void Grow(std::uint64_t needed);
  void SetLength(std::uint64_t length);
  // Both end the process if they can't have what they require.
  void RequireReserve(std::uint64_t capacity);
  void RequireValid() const;

  Ch* text_ = nullptr;
};

extern template struct ChTraitsCRT<char>;
extern template struct ChTraitsCRT<wchar_t>;
extern template class StringT<char>;
extern template class StringT<wchar_t>;
static_assert(sizeof(StringT<char>) == 8);
static_assert(sizeof(StringT<wchar_t>) == 8);

}  // namespace zv
