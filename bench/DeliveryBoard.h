#pragma once

#include <fcntl.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <system_error>

/// Where a process notes what reached it, so that another one, which has sent it, learns when: a
/// file that both have in memory. The clock is the machine's, the same for all processes.
namespace bench {

inline std::int64_t nanoseconds_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

class DeliveryBoard {
 public:
  /// Makes the file or, if it is there, joins who has made it.
  explicit DeliveryBoard(const std::filesystem::path& path) {
    const bool is_new = !std::filesystem::exists(path);
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || (is_new && ftruncate(file, sizeof(Shared)) != 0)) fail();
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED) fail();
    // A new file's zeros are the counters' beginning.
    shared_ = static_cast<Shared*>(memory);
    if (is_new && sem_init(&shared_->reached, 1, 0) != 0) fail();
  }
  DeliveryBoard(const DeliveryBoard&) = delete;
  DeliveryBoard& operator=(const DeliveryBoard&) = delete;
  ~DeliveryBoard() { munmap(shared_, sizeof(Shared)); }

  // --- who receives; any thread

  void note() {
    const std::int64_t now = nanoseconds_now();
    if (++shared_->count != shared_->target) return;
    shared_->reached_at = now;
    sem_post(&shared_->reached);
  }

  // --- who sends

  /// So many are going to be sent now.
  void expect(std::uint64_t deliveries) { shared_->target = shared_->count + deliveries; }

  /// When the last of them was there. Throws std::runtime_error if it doesn't come.
  std::int64_t wait() {
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += patience_seconds;
    if (sem_timedwait(&shared_->reached, &limit) != 0)
      throw std::runtime_error("a message didn't arrive");
    return shared_->reached_at;
  }

 private:
  static constexpr int patience_seconds = 60;

  struct Shared {
    std::atomic<std::uint64_t> count;
    std::atomic<std::uint64_t> target;
    std::atomic<std::int64_t> reached_at;
    sem_t reached;
  };
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

  [[noreturn]] static void fail() {
    throw std::system_error(errno, std::generic_category(), "the shared file");
  }

  Shared* shared_ = nullptr;
};

}  // namespace bench
