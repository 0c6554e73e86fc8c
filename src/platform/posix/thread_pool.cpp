#include "platform/thread_pool.h"

#include <glib.h>

#include <atomic>
#include <memory>
#include <new>

#include "platform/os.h"
#include "platform/posix/tsan.h"

namespace platform {
namespace {

struct Task {
  void (*callback)(void*);
  void* context;
  std::atomic<bool> claimed{false};

  /// True for the first who asks: either the pool, to run it, or the submitter, to take it back.
  bool claim() noexcept { return !claimed.exchange(true, std::memory_order_acq_rel); }
};

/// The pool holds a task by a share on the heap.
using Share = std::shared_ptr<Task>;

void run(gpointer data, gpointer) {
  tsan::take_over(data);
  const std::unique_ptr<Share> share(static_cast<Share*>(data));
  if ((*share)->claim()) (*share)->callback((*share)->context);
}

/// Never freed: its threads may still run callbacks while the process ends, and an idle one mustn't
/// find it gone after this module was unloaded.
GThreadPool* pool() noexcept {
  // Shared threads without a number's limit: a task that blocks never holds up another.
  static GThreadPool* const instance = g_thread_pool_new(run, nullptr, -1, FALSE, nullptr);
  return instance;
}

bool push(const Share& task) {
  auto share = std::make_unique<Share>(task);
  tsan::hand_over(share.get());
  const bool has_thread = g_thread_pool_push(pool(), share.release(), nullptr) != FALSE;
  // Without a new thread the task is queued all the same, so it has to be taken back; and if an old
  // thread was quicker, it was not refused.
  return has_thread || !task->claim();
}

}  // namespace

/// There is the default pool only, so no environment leads anywhere else.
bool os::submit_to_pool(void (*callback)(void*), void* context, void*) noexcept {
  try {
    const auto task = std::make_shared<Task>();
    task->callback = callback;
    task->context = context;
    return push(task);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Neither a pool beside the default one nor a timer can be made here.
void close_pool(void*, void*) noexcept {}
void cancel_pool_timer(void*) noexcept {}

}  // namespace platform
