#include "_base/PathString.h"

#include "_base/StringBlock.h"
#include "platform/library.h"

namespace zv {

PathString::PathString() noexcept
    : StringT(inner_block_, &inner_record_, inner_capacity, inner_capacity) {
  static_assert(sizeof(inner_block_) == StringBlock<wchar_t>::Size(inner_capacity));
}

PathString::PathString(const PathString& other) : PathString() {
  *this = other;
}

PathString::PathString(const wchar_t* text) : PathString() {
  *this = text;
}

// The base leaves a string alone that is assigned to itself.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
PathString& PathString::operator=(const PathString& other) {
  StringT::operator=(other);
  return *this;
}

PathString& PathString::operator=(const wchar_t* text) {
  StringT::operator=(text);
  return *this;
}

bool PathString::AskExeFolder(PathString& path) {
  // A path from another module may come without a block.
  if (path.buffer() == nullptr) path = nullptr;

  const auto size = static_cast<std::uint32_t>(path.Capacity());
  std::uint32_t error = 0;
  const std::uint32_t length = platform::module_file_name(nullptr, path.buffer(), size, error);
  path.RefreshLength();
  // The system may not have complained of a name that it cut, so a full buffer is taken for one.
  if (length == 0 || length == size) return false;

  const bool has_folder = platform::remove_file_spec(path.buffer());
  path.RefreshLength();
  if (!has_folder) return false;

  const bool ends_in_separator = platform::add_separator(path.buffer(), path.Capacity() + 1);
  path.RefreshLength();
  return ends_in_separator;
}

}  // namespace zv
