#include "_base/directory_mgmt/directory_changes_iterator.h"

#include <cstring>

namespace winapi::directory_mgmt {
namespace {

platform::change_record header_of(const unsigned char* record) noexcept {
  platform::change_record header;
  std::memcpy(&header, record, sizeof header);
  return header;
}

}  // namespace

directory_changes_iterator::directory_changes_iterator(const void* buffer,
                                                       std::size_t size) noexcept
    : buffer_end_(static_cast<const unsigned char*>(buffer) + size) {
  go_to(static_cast<const unsigned char*>(buffer));
}

directory_changes_iterator& directory_changes_iterator::operator++() noexcept {
  if (at_end()) return *this;
  const std::uint32_t step = header_of(record_).next_entry_offset;
  const auto left = static_cast<std::size_t>(buffer_end_ - record_);
  // A step that is no multiple of a character would give a name at a crooked address.
  const bool leads_on = step != 0 && step <= left && step % alignof(wchar_t) == 0;
  go_to(leads_on ? record_ + step : buffer_end_);
  return *this;
}

void directory_changes_iterator::go_to(const unsigned char* record) noexcept {
  const auto left = static_cast<std::size_t>(buffer_end_ - record);
  if (left >= sizeof(platform::change_record)) {
    const platform::change_record header = header_of(record);
    if (header.name_bytes <= left - sizeof header) {
      record_ = record;
      ++index_;
      const auto* const name = reinterpret_cast<const wchar_t*>(record + sizeof header);
      current_ = {header.action, {name, header.name_bytes / sizeof(wchar_t)}};
      return;
    }
  }
  *this = {};
}

}  // namespace winapi::directory_mgmt
