#include "platform/directory_changes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "platform/error_text.h"
#include "platform/os.h"
#include "platform/posix/InotifyRecords.h"
#include "platform/posix/event_fd.h"
#include "platform/posix/native_path.h"

namespace platform {
namespace {

constexpr std::uint32_t error_access_denied = 5;

/// How long the second half of a rename may take after the first. The system queues them one after
/// the other, but not at once, and says nowhere that the second won't come.
constexpr int half_rename_milliseconds = 10;

/// How often a half is waited for in a row. Changes that never cease, of the folder or of names
/// that nobody wants, could keep the same half the last one for ever.
constexpr int most_rounds = 16;

}  // namespace

class directory_reader {
 public:
  directory_reader() = default;
  directory_reader(const directory_reader&) = delete;
  directory_reader& operator=(const directory_reader&) = delete;

  ~directory_reader() {
    if (events_ >= 0) close(events_);
    close_folder();
  }

  bool open(const char* path) noexcept {
    folder_ = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder_ >= 0;
  }

  bool create_event() noexcept {
    events_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    return events_ >= 0;
  }

  std::uint32_t start(void* buffer, std::uint32_t size, std::uint32_t filter) {
    if (!records_) {
      if (!watch(filter)) return from_errno(errno);
      records_.emplace(filter);
      // Only now, as the watch needs it, and not later: the system doesn't tell that a folder was
      // taken away before the last who has it open lets it go.
      close_folder();
    }
    if (records_->ended() && records_->empty()) return error_access_denied;
    buffer_ = buffer;
    size_ = size;
    return 0;
  }

  /// What to poll: nothing without a read in progress, or the poll would never rest.
  int descriptor() const noexcept { return buffer_ != nullptr ? events_ : -1; }

  /// Completes the read in progress if there is anything to tell.
  bool complete() noexcept {
    if (buffer_ == nullptr) return false;
    try {
      if (records_->empty()) take_events();
      if (records_->empty()) return false;
      records_->fill(buffer_, size_);
    } catch (const std::bad_alloc&) {
      // The events were read and are lost. That is an overflow, which leaves the buffer as it was.
    }
    buffer_ = nullptr;
    return true;
  }

 private:
  /// By the open folder and not by its name, which may have gone to another folder meanwhile. From
  /// here on the system keeps the changes, between two reads too; the first filter rules.
  bool watch(std::uint32_t filter) const {
    const std::string path = "/proc/self/fd/" + std::to_string(folder_);
    return inotify_add_watch(events_, path.c_str(), InotifyRecords::mask_of(filter)) >= 0;
  }

  void close_folder() noexcept {
    if (folder_ >= 0) close(std::exchange(folder_, -1));
  }

  void take_events() {
    for (int round = 0; round != most_rounds; ++round) {
      if (!take_some() || !more_comes()) break;
    }
    records_->settle();
  }

  /// True if the first half of a rename came last.
  bool take_some() {
    alignas(inotify_event) char events[4096];
    const ssize_t size = read(events_, events, sizeof events);
    return size > 0 && records_->take(events, static_cast<std::size_t>(size));
  }

  bool more_comes() const noexcept {
    pollfd descriptor{events_, POLLIN, 0};
    return poll(&descriptor, 1, half_rename_milliseconds) > 0;
  }

  int folder_ = -1;
  int events_ = -1;
  std::optional<InotifyRecords> records_;
  void* buffer_ = nullptr;
  std::uint32_t size_ = 0;
};

directory_reader* os::open_directory(const wchar_t* path, std::uint32_t& error) {
  auto reader = std::make_unique<directory_reader>();
  error = reader->open(to_native(path).c_str()) ? 0 : from_errno(errno);
  return error == 0 ? reader.release() : nullptr;
}

bool create_read_event(directory_reader* reader, std::uint32_t& error) noexcept {
  error = reader->create_event() ? 0 : from_errno(errno);
  return error == 0;
}

bool os::start_reading(directory_reader* reader, void* buffer, std::uint32_t size,
                       std::uint32_t filter, std::uint32_t& error) {
  error = reader->start(buffer, size, filter);
  return error == 0;
}

void close_directory(directory_reader* reader) noexcept {
  delete reader;
}

std::size_t wait_for_changes(directory_reader* const* readers, std::size_t count,
                             void* stop_event) noexcept {
  if (count > most_readers) return no_reader;
  pollfd descriptors[most_readers + 1];
  for (std::size_t i = 0; i != count; ++i) descriptors[i] = {readers[i]->descriptor(), POLLIN, 0};
  descriptors[count] = {event_descriptor(stop_event), POLLIN, 0};
  for (;;) {
    // What was kept from the last time shows in no descriptor, so the readers are asked first.
    for (std::size_t i = 0; i != count; ++i) {
      if (readers[i]->complete()) return i;
    }
    if (consume_event(stop_event)) return stop_signalled;
    if (poll(descriptors, count + 1, -1) < 0 && errno != EINTR) return no_reader;
  }
}

}  // namespace platform
