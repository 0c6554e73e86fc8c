// Whatever stands in the buffers of a folder's changes, nothing outside of them is read or told.
//
// An input is a row of buffers, each a byte for the folder, two for its size and its content.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "_base/directory_mgmt/change_reporter.h"

namespace {

using winapi::directory_mgmt::change_reporter;
using winapi::directory_mgmt::directory_changes_iterator;

constexpr const wchar_t* folders[] = {L"a", L"b", L"c"};

void require(bool condition) {
  if (!condition) std::abort();
}

/// A copy that ends where its memory ends, so that the sanitizer sees a step beyond.
class Buffer {
 public:
  Buffer(const std::uint8_t* data, std::size_t size)
      : size_(size), bytes_(std::make_unique<unsigned char[]>(size)) {
    if (size != 0) std::memcpy(bytes_.get(), data, size);
  }

  directory_changes_iterator begin() const { return {bytes_.get(), size_}; }

  bool holds(std::wstring_view name) const {
    const auto* const begin = reinterpret_cast<const unsigned char*>(name.data());
    const auto* const end = reinterpret_cast<const unsigned char*>(name.data() + name.size());
    return std::less_equal<>()(bytes_.get(), begin) &&
           std::less_equal<>()(end, bytes_.get() + size_) &&
           reinterpret_cast<std::uintptr_t>(begin) % alignof(wchar_t) == 0;
  }

 private:
  std::size_t size_;
  std::unique_ptr<unsigned char[]> bytes_;
};

class Checker final : public idirectories_observer {
 public:
  void on_created(const wchar_t* called, std::wstring_view name) override { check(called, name); }
  void on_removed(const wchar_t* called, std::wstring_view name) override { check(called, name); }
  void on_modified(const wchar_t* called, std::wstring_view name) override { check(called, name); }
  void on_renamed(const wchar_t* called, std::wstring_view old_name,
                  std::wstring_view new_name) override {
    // One of the two may have waited since an earlier buffer.
    check(called, buffer->holds(old_name) ? old_name : new_name);
    read(old_name);
    read(new_name);
  }

  const Buffer* buffer = nullptr;
  const wchar_t* folder = nullptr;
  std::size_t calls = 0;

 private:
  void check(const wchar_t* called, std::wstring_view name) {
    ++calls;
    require(called == folder);
    require(buffer->holds(name));
    read(name);
  }
  static void read(std::wstring_view name) {
    const std::wstring copy(name);
    require(copy == name);
  }
};

/// How many records there are. Each is checked.
std::size_t walk(const Buffer& buffer, std::size_t size) {
  std::size_t count = 0;
  for (directory_changes_iterator change = buffer.begin(); !change.at_end(); ++change) {
    require(buffer.holds(change->name));
    ++count;
  }
  require(count <= size / alignof(wchar_t));
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t head = 3;
  Checker checker;
  change_reporter reporter(&checker);
  while (size >= head) {
    const wchar_t* const folder = folders[data[0] % std::size(folders)];
    const std::size_t length = std::min<std::size_t>(size - head, data[1] + 256u * data[2]);
    const Buffer buffer(data + head, length);
    const std::size_t records = walk(buffer, length);

    checker.buffer = &buffer;
    checker.folder = folder;
    checker.calls = 0;
    reporter.report(folder, buffer.begin());
    require(checker.calls <= records);

    data += head + length;
    size -= head + length;
  }
  return 0;
}
