#include "_base/StringT.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>

#include "_base/StringBlock.h"

namespace zv {
namespace {

/// Meant to have nothing in flight: std::terminate is then called at once. The heap can't be
/// trusted any more, so nothing is unwound, allocated or logged on the way out.
[[noreturn]] void EndProcess() {
  throw;
}

int CompareTexts(const char* a, const char* b) noexcept {
  return std::strcmp(a, b);
}
int CompareTexts(const wchar_t* a, const wchar_t* b) noexcept {
  return std::wcscmp(a, b);
}

StringRecord* NewRecord(IMemMgr& manager) {
  void* const memory = manager.Allocate(sizeof(StringRecord));
  if (memory == nullptr) return nullptr;
  return ::new (memory) StringRecord{&manager, 0, 0, StringT<char>::default_grow_step, 0, 1};
}

/// `old_block` (null: none) brought to `new_size`, by a copy if the manager can't do it in place.
void* ResizeBlock(IMemMgr& manager, void* old_block, std::uint64_t old_size,
                  std::uint64_t new_size) {
  if (void* const block = manager.Reallocate(old_block, new_size)) return block;
  void* const block = manager.Allocate(new_size);
  if (block != nullptr && old_block != nullptr) {
    std::memcpy(block, old_block, std::min(old_size, new_size));
    manager.Free(old_block);
  }
  return block;
}

}  // namespace

template <class Ch>
std::uint64_t ChTraitsCRT<Ch>::Length(const Ch* text) noexcept {
  return std::char_traits<Ch>::length(text);
}

template <class Ch>
int ChTraitsCRT<Ch>::Compare(const Ch* a, const Ch* b) noexcept {
  return CompareTexts(a, b);
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>::StringT(const Ch* text) {
  if (text != nullptr) Assign(text);
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>::StringT(std::basic_string_view<Ch> text) {
  if (text.data() != nullptr) Assign(text.data(), text.size());
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>::StringT(const StringT& other) {
  other.RequireValid();
  if (other.text_ != nullptr) Assign(other.text_, other.Length());
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>::StringT(void* block, StringRecord* record,
                                              std::uint64_t capacity,
                                              std::uint64_t grow_step) noexcept
    : text_(StringBlock<Ch>::Write(block, record, capacity)) {
  *record = StringRecord{&MemMgr::instance(), 0, capacity, grow_step, 0, 0};
  text_[0] = Ch{};
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>::~StringT() {
  RequireValid();
  if (StringRecord* const own = record()) {
    // The record names the manager and may be freed by it, so the manager is fetched first.
    IMemMgr* const manager = own->memory_manager;
    if (own->block_on_heap != 0) manager->Free(StringBlock<Ch>::Start(text_));
    if (own->record_on_heap != 0) manager->Free(own);
    manager->Release();
  }
  text_ = nullptr;
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>& StringT<Ch, MemMgr, Traits, Version>::operator=(
    const StringT& other) {
  if (this == &other) return *this;
  other.RequireValid();
  Assign(other.text_, other.Length());
  return *this;
}

template <class Ch, class MemMgr, class Traits, int Version>
StringT<Ch, MemMgr, Traits, Version>& StringT<Ch, MemMgr, Traits, Version>::operator=(
    const Ch* text) {
  Assign(text);
  return *this;
}

template <class Ch, class MemMgr, class Traits, int Version>
bool StringT<Ch, MemMgr, Traits, Version>::Reserve(std::uint64_t capacity) {
  using Block = StringBlock<Ch>;
  // The guards are written anew below, which would hide that they were damaged.
  RequireValid();
  if (!Block::IsPossible(capacity)) return false;

  StringRecord* own = record();
  void* inner_block = nullptr;
  void* heap_block = nullptr;
  if (own != nullptr) {
    (own->block_on_heap != 0 ? heap_block : inner_block) = Block::Start(text_);
  } else {
    // A text without a record has no known owner: it is left where it is.
    own = NewRecord(MemMgr::instance());
    if (own == nullptr) return false;
  }

  const bool had_block = inner_block != nullptr || heap_block != nullptr;
  const std::uint64_t old_size = Block::Size(own->capacity);
  const std::uint64_t size = Block::Size(capacity);
  void* const block = ResizeBlock(*own->memory_manager, heap_block, old_size, size);
  if (block == nullptr) {
    if (!had_block) own->memory_manager->Free(own);
    return false;
  }
  if (heap_block == nullptr) std::memset(block, 0, size);
  if (inner_block != nullptr) std::memcpy(block, inner_block, std::min(old_size, size));

  text_ = Block::Write(block, own, capacity);
  own->capacity = capacity;
  own->block_on_heap = 1;
  own->length = std::min(own->length, capacity);
  return true;
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::Assign(const Ch* text, std::uint64_t count) {
  if (text != nullptr && text == text_) return;
  if (text == nullptr) count = 0;
  if (count == npos) count = Traits::Length(text);

  const std::uint64_t capacity = Capacity();
  if (capacity < count || capacity == 0) {
    RequireReserve(capacity + std::max(GrowStep(), count - capacity));
  }
  // A part of the own text fits without growing, but source and target may overlap.
  if (count != 0) std::memmove(text_, text, count * sizeof(Ch));
  SetLength(count);
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::Append(const Ch* text) {
  if (text == nullptr || *text == Ch{}) return;
  const std::uint64_t length = Length();
  const std::uint64_t count = Traits::Length(text);

  // The own text moves with the block when that grows.
  const bool is_own = text_ != nullptr && !std::less<const Ch*>{}(text, text_) &&
                      std::less<const Ch*>{}(text, text_ + length);
  const auto own_offset = is_own ? text - text_ : 0;
  Grow(length + count);
  if (is_own) text = text_ + own_offset;

  std::memcpy(text_ + length, text, count * sizeof(Ch));
  SetLength(length + count);
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::AppendChar(Ch character) {
  const std::uint64_t length = Length();
  Grow(length + 1);
  text_[length] = character;
  SetLength(length + 1);
}

template <class Ch, class MemMgr, class Traits, int Version>
std::uint64_t StringT<Ch, MemMgr, Traits, Version>::Length() const noexcept {
  const StringRecord* const own = record();
  return own != nullptr ? own->length : 0;
}

template <class Ch, class MemMgr, class Traits, int Version>
std::uint64_t StringT<Ch, MemMgr, Traits, Version>::Capacity() const noexcept {
  const StringRecord* const own = record();
  return own != nullptr ? own->capacity : 0;
}

template <class Ch, class MemMgr, class Traits, int Version>
const Ch* StringT<Ch, MemMgr, Traits, Version>::c_str() const noexcept {
  static constexpr Ch empty[1] = {};
  return text_ != nullptr ? text_ : empty;
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::RefreshLength() {
  StringRecord* const own = record();
  if (own == nullptr) return;
  const Ch* const end = std::char_traits<Ch>::find(text_, own->capacity + 1, Ch{});
  // No NUL in the whole field: the text runs beyond the capacity.
  if (end == nullptr) EndProcess();
  own->length = static_cast<std::uint64_t>(end - text_);
  RequireValid();
}

template <class Ch, class MemMgr, class Traits, int Version>
bool StringT<Ch, MemMgr, Traits, Version>::IsValid() const noexcept {
  const StringRecord* const own = record();
  if (own == nullptr) return true;
  // The head first: a record pointer between damaged guards isn't to be followed.
  return StringBlock<Ch>::HeadStands(text_) && StringBlock<Ch>::TailStands(text_, own->capacity);
}

template <class Ch, class MemMgr, class Traits, int Version>
StringRecord* StringT<Ch, MemMgr, Traits, Version>::record() const noexcept {
  return text_ != nullptr ? StringBlock<Ch>::Record(text_) : nullptr;
}

template <class Ch, class MemMgr, class Traits, int Version>
std::uint64_t StringT<Ch, MemMgr, Traits, Version>::GrowStep() const noexcept {
  const StringRecord* const own = record();
  return own != nullptr ? own->grow_step : default_grow_step;
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::Grow(std::uint64_t needed) {
  constexpr std::uint64_t doubling_limit = 1024;
  const std::uint64_t capacity = Capacity();
  if (capacity >= needed && capacity != 0) return;
  const std::uint64_t extra = std::max(needed - capacity, GrowStep());
  RequireReserve(capacity + std::max(extra, std::min(capacity, doubling_limit)));
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::SetLength(std::uint64_t length) {
  text_[length] = Ch{};
  record()->length = length;
  RequireValid();
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::RequireReserve(std::uint64_t capacity) {
  if (!Reserve(capacity)) EndProcess();
}

template <class Ch, class MemMgr, class Traits, int Version>
void StringT<Ch, MemMgr, Traits, Version>::RequireValid() const {
  if (!IsValid()) EndProcess();
}

template struct ChTraitsCRT<char>;
template struct ChTraitsCRT<wchar_t>;
template class StringT<char>;
template class StringT<wchar_t>;

}  // namespace zv
