#include "platform/posix/InotifyRecords.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/directory_changes.h"
#include "platform/posix/native_path.h"

namespace platform {
namespace {

// Windows' notification filter.
constexpr std::uint32_t file_names = 0x1;
constexpr std::uint32_t folder_names = 0x2;
constexpr std::uint32_t attributes = 0x4;
constexpr std::uint32_t sizes = 0x8;
constexpr std::uint32_t last_writes = 0x10;
constexpr std::uint32_t security = 0x100;

constexpr std::uint32_t name_events = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

constexpr std::size_t record_alignment = 4;

std::size_t name_bytes(const std::wstring& name) {
  return name.size() * sizeof(wchar_t);
}

std::size_t padded(std::size_t size) {
  return (size + record_alignment - 1) / record_alignment * record_alignment;
}

}  // namespace

std::uint32_t InotifyRecords::mask_of(std::uint32_t filter) noexcept {
  std::uint32_t mask = IN_ONLYDIR;
  if ((filter & (file_names | folder_names)) != 0) mask |= name_events;
  if ((filter & (sizes | last_writes)) != 0) mask |= IN_MODIFY;
  // A time of writing that is set by hand is reported among the attributes.
  if ((filter & (attributes | last_writes | security)) != 0) mask |= IN_ATTRIB;
  return mask;
}

bool InotifyRecords::wanted(const inotify_event& event) const noexcept {
  if ((event.mask & name_events) == 0) return true;
  return (filter_ & ((event.mask & IN_ISDIR) != 0 ? folder_names : file_names)) != 0;
}

bool InotifyRecords::take(const char* events, std::size_t size) {
  for (std::size_t at = 0; at != size;) {
    inotify_event header;
    std::memcpy(&header, events + at, sizeof header);
    take_one(*reinterpret_cast<const inotify_event*>(events + at));
    at += sizeof header + header.len;
  }
  return !records_.empty() && records_.back().cookie != 0;
}

void InotifyRecords::settle() {
  for (Record& record : records_) record.cookie = 0;
}

void InotifyRecords::take_one(const inotify_event& event) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) return lose_changes();
  if ((event.mask & IN_IGNORED) != 0) {
    ended_ = true;
    return lose_changes();
  }
  // Without a name it is about the folder itself.
  if (event.len == 0 || !wanted(event)) return;
  std::wstring name = from_native(event.name);
  if ((event.mask & IN_CREATE) != 0) {
    records_.push_back({change_added, std::move(name)});
  } else if ((event.mask & IN_DELETE) != 0) {
    records_.push_back({change_removed, std::move(name)});
  } else if ((event.mask & IN_MOVED_FROM) != 0) {
    records_.push_back({change_removed, std::move(name), event.cookie});
  } else if ((event.mask & IN_MOVED_TO) != 0) {
    pair_with_removal(event, std::move(name));
  } else {
    records_.push_back({change_modified, std::move(name)});
  }
}

/// Readers take two halves only side by side, so the new name goes right behind the old one, even
/// if something else happened between the two.
void InotifyRecords::pair_with_removal(const inotify_event& event, std::wstring name) {
  const auto old = std::find_if(records_.begin(), records_.end(), [&](const Record& record) {
    return record.cookie != 0 && record.cookie == event.cookie;
  });
  if (old == records_.end()) {
    records_.push_back({change_added, std::move(name)});
    return;
  }
  old->action = change_renamed_old_name;
  old->cookie = 0;
  records_.insert(old + 1, {change_renamed_new_name, std::move(name)});
}

void InotifyRecords::fill(void* buffer, std::uint32_t size) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  std::size_t last = 0;
  std::size_t end = 0;
  while (!records_.empty() && records_.front().action != 0) {
    const Record& record = records_.front();
    const std::size_t length = sizeof(change_record) + name_bytes(record.name);
    if (end + length > size) break;
    if (end != 0) {
      const auto offset = static_cast<std::uint32_t>(end - last);
      std::memcpy(bytes + last + offsetof(change_record, next_entry_offset), &offset,
                  sizeof offset);
    }
    const change_record header{0, record.action,
                               static_cast<std::uint32_t>(name_bytes(record.name))};
    std::memcpy(bytes + end, &header, sizeof header);
    // Names in records have a length instead of an end.
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    std::memcpy(bytes + end + sizeof header, record.name.data(), name_bytes(record.name));
    last = end;
    end += padded(length);
    records_.pop_front();
  }
  // Nothing was written: either changes were lost, or the first one doesn't fit at all and is lost
  // now.
  if (end == 0 && !records_.empty()) records_.pop_front();
}

}  // namespace platform
