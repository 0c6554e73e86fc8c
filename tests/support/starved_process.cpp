#include "support/starved_process.h"

#include <stdexcept>

#ifdef _WIN32

namespace support::starved_process {

bool possible() {
  return false;
}
WithoutDescriptors::WithoutDescriptors(int) {
  throw std::logic_error("not here");
}
WithoutDescriptors::~WithoutDescriptors() = default;
WithoutThreads::WithoutThreads() {
  throw std::logic_error("not here");
}
WithoutThreads::~WithoutThreads() = default;
void break_events() {
  throw std::logic_error("not here");
}

}  // namespace support::starved_process

#else

#include <fcntl.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace support::starved_process {
namespace {

void set_descriptor_limit(rlim_t limit) {
  rlimit limits{};
  getrlimit(RLIMIT_NOFILE, &limits);
  limits.rlim_cur = limit;
  setrlimit(RLIMIT_NOFILE, &limits);
}

/// New descriptors take the lowest free numbers, and a limit is above the highest.
rlim_t limit_that_spares(int count) {
  std::vector<int> spared;
  for (int i = 0; i != count; ++i) spared.push_back(open("/", O_RDONLY | O_CLOEXEC));
  for (const int descriptor : spared) close(descriptor);
  return spared.empty() ? 0 : static_cast<rlim_t>(spared.back()) + 1;
}

void set_stack_size(std::size_t size) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  const bool set = pthread_attr_setstacksize(&attributes, size) == 0 &&
                   pthread_setattr_default_np(&attributes) == 0;
  pthread_attr_destroy(&attributes);
  if (!set) throw std::runtime_error("the stack size of new threads can't be set");
}

}  // namespace

bool possible() {
  return true;
}

WithoutDescriptors::WithoutDescriptors(int spared) {
  rlimit limits{};
  getrlimit(RLIMIT_NOFILE, &limits);
  limit_ = limits.rlim_cur;
  set_descriptor_limit(limit_that_spares(spared));
}
WithoutDescriptors::~WithoutDescriptors() {
  set_descriptor_limit(limit_);
}

// A stack as large as the whole address space is one that the system can't give.
WithoutThreads::WithoutThreads() {
  pthread_attr_t attributes;
  pthread_getattr_default_np(&attributes);
  pthread_attr_getstacksize(&attributes, &stack_size_);
  pthread_attr_destroy(&attributes);
  set_stack_size(std::size_t{1} << 47);
}
WithoutThreads::~WithoutThreads() {
  set_stack_size(stack_size_);
}

void break_events() {
  const int unwritable = inotify_init1(IN_CLOEXEC);
  std::vector<int> events;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const auto target = std::filesystem::read_symlink(entry.path(), error);
    if (target == "anon_inode:[eventfd]") events.push_back(std::stoi(entry.path().filename()));
  }
  for (const int event : events) dup3(unwritable, event, O_CLOEXEC);
  if (events.empty()) throw std::logic_error("there is no event");
}

}  // namespace support::starved_process

#endif
