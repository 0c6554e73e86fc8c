#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/error_text.h"
#include "platform/os.h"
#include "platform/posix/native_path.h"
#include "platform/posix/tsan.h"

namespace platform {
namespace {

struct LockFile {
  int descriptor;
  bool locked;
  void* identity;  ///< what the sanitizer knows the lock by
};

LockFile& lock_file(void* file) noexcept {
  return *static_cast<LockFile*>(file);
}

/// One address for each path, for ever: every acquisition opens a new handle, yet all handles of a
/// path are one lock.
void* identity_of(const std::string& path) {
  if (!tsan::enabled) return nullptr;
  static std::mutex& mutex = *new std::mutex;
  static auto& identities = *new std::map<std::string, char>;
  const std::lock_guard lock(mutex);
  return &identities[path];
}

/// Opens without the wish to create first: that wish alone is refused for a file of somebody else
/// in a folder that all may write.
int open_or_create(const char* path) noexcept {
  const int existing = open(path, O_RDONLY | O_CLOEXEC);
  if (existing >= 0 || errno != ENOENT) return existing;
  return open(path, O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
}

bool is_folder(int descriptor) noexcept {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

void* os::open_lock_file(const wchar_t* path, std::uint32_t& error) {
  const std::string native = to_native(path);
  // All memory before the descriptor, which would be left open when it runs out.
  auto self = std::make_unique<LockFile>(LockFile{-1, false, identity_of(native)});
  self->descriptor = open_or_create(native.c_str());
  error = self->descriptor >= 0 ? 0 : from_errno(errno);
  if (error != 0) return no_file;
  if (is_folder(self->descriptor)) {
    close(self->descriptor);
    error = from_errno(EISDIR);
    return no_file;
  }
  return self.release();
}

bool os::lock_first_byte(void* file, std::uint32_t& error) noexcept {
  LockFile& self = lock_file(file);
  tsan::before_lock(self.identity);
  int result = 0;
  // Of the locks that exclude the handles of one process too, this is the one that is content with
  // read access. It is on the whole file, of which nobody locks anything but the first byte.
  do result = flock(self.descriptor, LOCK_EX);
  while (result != 0 && errno == EINTR);
  error = result == 0 ? 0 : from_errno(errno);
  self.locked = self.locked || result == 0;
  tsan::after_lock(self.identity, result == 0);
  return result == 0;
}

bool unlock_bytes(void* file, std::uint32_t low, std::uint32_t high) noexcept {
  LockFile& self = lock_file(file);
  if (!self.locked || low != 1 || high != 0) return false;
  tsan::before_unlock(self.identity);
  self.locked = flock(self.descriptor, LOCK_UN) != 0;
  tsan::after_unlock(self.identity);
  return !self.locked;
}

void close_lock_file(void* file) noexcept {
  const std::unique_ptr<LockFile> self(&lock_file(file));
  if (self->locked) tsan::before_unlock(self->identity);
  close(self->descriptor);
  if (self->locked) tsan::after_unlock(self->identity);
}

}  // namespace platform
