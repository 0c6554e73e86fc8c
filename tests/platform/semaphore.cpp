#include "platform/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(Semaphore, GivesWhatWasReleasedBefore) {
  platform::semaphore semaphore;
  semaphore.release(3);
  semaphore.acquire();
  semaphore.acquire();
  semaphore.acquire();
}

TEST(Semaphore, WakesAsManyAsAreReleased) {
  constexpr std::uint32_t waiters = 16;
  platform::semaphore gate;
  platform::semaphore passed;
  std::vector<std::thread> threads;
  for (std::uint32_t i = 0; i != waiters; ++i) {
    threads.emplace_back([&] {
      gate.acquire();
      passed.release(1);
    });
  }
  gate.release(waiters);
  for (std::uint32_t i = 0; i != waiters; ++i) passed.acquire();
  for (std::thread& thread : threads) thread.join();
}

TEST(Semaphore, HandsBackAndForthWithoutMissingAWakeUp) {
  constexpr int rounds = 2000;
  platform::semaphore there;
  platform::semaphore back;
  std::thread other([&] {
    for (int i = 0; i != rounds; ++i) {
      there.acquire();
      back.release(1);
    }
  });
  for (int i = 0; i != rounds; ++i) {
    there.release(1);
    back.acquire();
  }
  other.join();
}

TEST(Semaphore, MayBeDestroyedByWhoWasWokenByIt) {
  for (int i = 0; i != 500; ++i) {
    auto* const semaphore = new platform::semaphore;
    std::thread releaser([semaphore] { semaphore->release(1); });
    semaphore->acquire();
    delete semaphore;
    releaser.join();
  }
}

TEST(Semaphore, RefusesAReleaseOfTooMuch) {
  platform::semaphore semaphore;
  EXPECT_EQ(semaphore.error(), 0u);
  EXPECT_EQ(semaphore.release(0), 0u);
  EXPECT_EQ(semaphore.release(0x7fffffff), 0u);
  EXPECT_EQ(semaphore.release(1), 298u);
  EXPECT_EQ(semaphore.acquire(), 0u);
  EXPECT_EQ(semaphore.release(1), 0u);
}

}  // namespace
