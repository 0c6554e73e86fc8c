#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "_base/CSyncRWLock.h"

namespace {

TEST(CSyncRWLockStress, WritersAreAloneAndReadersSeeNoHalfWrite) {
  constexpr unsigned seed = 21;
  constexpr int threads = 8;
  CSyncRWLock lock;
  std::int64_t left = 0, right = 0;  // equal, but for a writer's eyes
  std::atomic<int> inside_reading{0}, inside_writing{0}, faults{0};
  std::int64_t writes[threads] = {};
  const auto expect = [&](bool holds) {
    if (!holds) ++faults;
  };

  const auto read = [&] {
    ++inside_reading;
    expect(inside_writing == 0 && left == right);
    --inside_reading;
  };
  const auto write = [&](int thread) {
    expect(++inside_writing == 1 && inside_reading == 0);
    ++left;
    std::this_thread::yield();
    ++right;
    ++writes[thread];
    --inside_writing;
  };
  const auto body = [&](int thread) {
    std::mt19937 random(seed + static_cast<unsigned>(thread));
    for (int round = 0; round < 4000; ++round) {
      switch (random() % 5) {
        case 0: {
          const WriteHolder outer(lock);
          write(thread);
          const ReadHolder reading(lock);
          expect(left == right);
          const WriteHolder inner(lock);
          write(thread);
          break;
        }
        case 1: {
          // Gives the write entry back first and holds on by the read entry.
          lock.WriteLock(0);
          lock.ReadLock(0);
          lock.WriteUnlock(0);
          write(thread);
          lock.ReadUnlock(0);
          break;
        }
        case 2: {
          const ReadHolder outer(lock);
          read();
          const ReadHolder inner(lock);
          read();
          break;
        }
        default: {
          const ReadHolder holder(lock);
          read();
        }
      }
    }
  };

  std::vector<std::thread> crowd;
  for (int thread = 0; thread < threads; ++thread) crowd.emplace_back(body, thread);
  for (auto& thread : crowd) thread.join();

  std::int64_t written = 0;
  for (const auto count : writes) written += count;
  EXPECT_EQ(faults, 0) << "seed " << seed;
  EXPECT_EQ(left, written) << "seed " << seed;
  EXPECT_EQ(right, written) << "seed " << seed;
  // Free again, or this would wait for ever.
  const WriteHolder last(lock);
}

}  // namespace
