#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string>

#include "platform/error_text.h"
#include "platform/os.h"
#include "platform/posix/native_path.h"
#include "platform/posix/tsan.h"

namespace platform {
namespace {

// A handle is the descriptor itself: a lock is taken and let go twice for each request, and memory
// of its own would be a good part of the cost.

int descriptor_of(void* file) noexcept {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(file));
}

void* handle_of(int descriptor) noexcept {
  return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor));
}

/// What the thread sanitizer has to be told of the locks. In any other build nothing is known.
class Watch {
 public:
  static void opened(int descriptor, const std::string& path) {
    if (!tsan::enabled) return;
    const std::lock_guard guard(self().mutex_);
    self().files_[descriptor] = {&self().identities_[path], false};
  }
  /// One address for each path, for ever: every acquisition opens a new handle, yet all handles of
  /// a path are one lock.
  static void* identity_of(int descriptor) noexcept {
    if (!tsan::enabled) return nullptr;
    const std::lock_guard guard(self().mutex_);
    return self().files_[descriptor].identity;
  }
  static void locked(int descriptor, bool now) noexcept {
    if (!tsan::enabled) return;
    const std::lock_guard guard(self().mutex_);
    self().files_[descriptor].locked = now;
  }
  static bool is_locked(int descriptor) noexcept {
    if (!tsan::enabled) return false;
    const std::lock_guard guard(self().mutex_);
    return self().files_[descriptor].locked;
  }

 private:
  struct File {
    void* identity = nullptr;
    bool locked = false;
  };

  static Watch& self() {
    static Watch& watch = *new Watch;  // never ended: threads may lock until the process is gone
    return watch;
  }

  std::mutex mutex_;
  std::map<std::string, char> identities_;
  std::map<int, File> files_;
};

/// Opens without the wish to create first: that wish alone is refused for a file of somebody else
/// in a folder that all may write.
int open_or_create(const char* path) noexcept {
  const int existing = open(path, O_RDONLY | O_CLOEXEC);
  if (existing >= 0 || errno != ENOENT) return existing;
  return open(path, O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
}

}  // namespace

void* os::open_lock_file(const wchar_t* path, std::uint32_t& error) {
  const std::string native = to_native(path);
  const int descriptor = open_or_create(native.c_str());
  error = descriptor >= 0 ? 0 : from_errno(errno);
  if (error != 0) return no_file;
  Watch::opened(descriptor, native);
  return handle_of(descriptor);
}

bool os::lock_first_byte(void* file, std::uint32_t& error) noexcept {
  const int descriptor = descriptor_of(file);
  void* const identity = Watch::identity_of(descriptor);
  tsan::before_lock(identity);
  int result = 0;
  // Of the locks that exclude the handles of one process too, this is the one that is content with
  // read access. It is on the whole file, of which nobody locks anything but the first byte.
  do result = flock(descriptor, LOCK_EX);
  while (result != 0 && errno == EINTR);
  error = result == 0 ? 0 : from_errno(errno);
  Watch::locked(descriptor, result == 0);
  tsan::after_lock(identity, result == 0);
  return result == 0;
}

bool unlock_bytes(void* file, std::uint32_t low, std::uint32_t high) noexcept {
  // What was locked is one byte. A byte nobody locked can be unlocked here, which nobody does.
  if (low != 1 || high != 0) return false;
  const int descriptor = descriptor_of(file);
  void* const identity = Watch::identity_of(descriptor);
  tsan::before_unlock(identity);
  Watch::locked(descriptor, false);
  const bool unlocked = flock(descriptor, LOCK_UN) == 0;
  tsan::after_unlock(identity);
  return unlocked;
}

void close_lock_file(void* file) noexcept {
  const int descriptor = descriptor_of(file);
  void* const identity = Watch::identity_of(descriptor);
  const bool was_locked = Watch::is_locked(descriptor);
  if (was_locked) tsan::before_unlock(identity);
  close(descriptor);
  if (was_locked) tsan::after_unlock(identity);
}

}  // namespace platform
