#include "platform/event.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "platform/error_text.h"
#include "platform/posix/event_fd.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t for_ever = ~std::uint32_t{0};

/// What is left until `deadline`, as poll takes it: rounded up, so that it doesn't end too early.
int remaining(Clock::time_point deadline) noexcept {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

}  // namespace

// A handle is the descriptor plus one, as descriptor 0 is a good one and a null handle is none.
int event_descriptor(void* event) noexcept {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(event)) - 1;
}

bool consume_event(void* event) noexcept {
  eventfd_t count = 0;
  return eventfd_read(event_descriptor(event), &count) == 0;
}

void* create_event(std::uint32_t& error) noexcept {
  const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  error = descriptor >= 0 ? 0 : from_errno(errno);
  return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor) + 1);
}

bool set_event(void* event, std::uint32_t& error) noexcept {
  // A full counter is a signalled event.
  const bool set = eventfd_write(event_descriptor(event), 1) == 0 || errno == EAGAIN;
  error = set ? 0 : from_errno(errno);
  return set;
}

bool wait_event(void* event, std::uint32_t milliseconds) noexcept {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  pollfd descriptor{event_descriptor(event), POLLIN, 0};
  for (;;) {
    const int left = milliseconds == for_ever ? -1 : remaining(deadline);
    const int ready = poll(&descriptor, 1, left);
    // Another waiter may have been quicker to reset it: then the wait goes on.
    if (ready > 0 && consume_event(event)) return true;
    if (ready > 0 && (descriptor.revents & POLLNVAL) != 0) return false;
    if (ready < 0 && errno != EINTR) return false;
    if (ready == 0 && (left == 0 || remaining(deadline) == 0)) return false;
  }
}

void close_event(void* event) noexcept {
  close(event_descriptor(event));
}

}  // namespace platform
