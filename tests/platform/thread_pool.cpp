#include "platform/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <memory>
#include <vector>

#include "platform/semaphore.h"
#include "platform/thread.h"
#include "support/TestSeam.h"

namespace {

TEST(ThreadPool, CallsOnAThreadOfItsOwn) {
  struct Call {
    std::uint32_t thread = 0;
    platform::semaphore done;
  } call;
  ASSERT_TRUE(platform::submit_to_pool(
      [](void* context) {
        auto& self = *static_cast<Call*>(context);
        self.thread = platform::current_thread_id();
        self.done.release(1);
      },
      &call));
  call.done.acquire();
  EXPECT_NE(call.thread, platform::current_thread_id());
}

TEST(ThreadPool, ShowsTheCallbackWhatTheCallerDidBefore) {
  struct Call {
    std::unique_ptr<int> value;
    std::atomic<int>& sum;
    platform::semaphore& done;
  };
  constexpr int calls = 1000;
  std::atomic<int> sum{0};
  platform::semaphore done;
  for (int i = 0; i != calls; ++i) {
    // Written without any order of its own: the submission has to bring it.
    auto call = std::make_unique<Call>(Call{std::make_unique<int>(1), sum, done});
    ASSERT_TRUE(platform::submit_to_pool(
        [](void* context) {
          const std::unique_ptr<Call> self(static_cast<Call*>(context));
          self->sum += *self->value;
          self->done.release(1);
        },
        call.get()));
    static_cast<void>(call.release());
  }
  for (int i = 0; i != calls; ++i) done.acquire();
  EXPECT_EQ(sum, calls);
}

TEST(ThreadPool, GrowsWhileItsTasksBlock) {
  constexpr int tasks = 64;
  struct Meeting {
    std::barrier<> barrier{tasks};
    platform::semaphore done;
  } meeting;
  for (int i = 0; i != tasks; ++i) {
    ASSERT_TRUE(platform::submit_to_pool(
        [](void* context) {
          auto& self = *static_cast<Meeting*>(context);
          // Nobody passes until all are there, each on a thread.
          self.barrier.arrive_and_wait();
          self.done.release(1);
        },
        &meeting));
  }
  for (int i = 0; i != tasks; ++i) meeting.done.acquire();
}

TEST(ThreadPool, CallsNothingWhenItRefuses) {
  support::TestSeam seam;
  seam.fail_call(platform::Call::submit, 14, 2);
  struct Count {
    std::atomic<int> calls{0};
    platform::semaphore done;
  } count;
  const auto callback = [](void* context) {
    auto& self = *static_cast<Count*>(context);
    ++self.calls;
    self.done.release(1);
  };
  EXPECT_TRUE(platform::submit_to_pool(callback, &count));
  EXPECT_FALSE(platform::submit_to_pool(callback, &count));
  EXPECT_TRUE(platform::submit_to_pool(callback, &count));
  count.done.acquire();
  count.done.acquire();
  EXPECT_EQ(count.calls, 2);
  EXPECT_EQ(seam.calls(platform::Call::submit), 3u);
}

}  // namespace
