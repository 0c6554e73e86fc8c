#pragma once

#include "_base/StringT.h"

namespace zv {

/// A wide string with room for 260 characters inside the object: a path of the usual length costs
/// no allocation. A longer one moves to the heap.
class PathString : public StringT<wchar_t> {
 public:
  static constexpr std::uint64_t inner_capacity = 260;

  PathString() noexcept;
  PathString(const PathString& other);
  explicit PathString(const wchar_t* text);
  PathString& operator=(const PathString& other);
  PathString& operator=(const wchar_t* text);

  /// Fills `path` with the executable's folder, ending in a separator. False if the name can't be
  /// had, fills the buffer exactly (and so counts as cut), or has no folder.
  static bool AskExeFolder(PathString& path);

 private:
  StringRecord inner_record_;
  unsigned char inner_block_[2 * sizeof(std::uint32_t) + sizeof(void*) +
                             (inner_capacity + 1) * sizeof(wchar_t) + sizeof(std::uint32_t)];
};

}  // namespace zv
