#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "devkit/msgbus/sockets.h"

namespace devkit::bus {

namespace {

std::intptr_t new_bell() {
  const int bell = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (bell < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  return bell;
}

}  // namespace

void keep_from_children(std::intptr_t socket) {
  fcntl(static_cast<int>(socket), F_SETFD, FD_CLOEXEC);
}

SocketWait::SocketWait() : bell_(new_bell()) {}

SocketWait::~SocketWait() {
  close(static_cast<int>(bell_));
}

bool SocketWait::is_readable(std::intptr_t socket, bool or_writable,
                             std::chrono::milliseconds limit) {
  const auto wanted = static_cast<short>(or_writable ? POLLIN | POLLOUT : POLLIN);
  std::array<pollfd, 2> both{
      {{static_cast<int>(socket), wanted, 0}, {static_cast<int>(bell_), POLLIN, 0}}};
  if (poll(both.data(), both.size(), static_cast<int>(limit.count())) <= 0) return false;
  eventfd_t ignored = 0;
  if (both[1].revents != 0) eventfd_read(static_cast<int>(bell_), &ignored);
  return (both[0].revents & ~POLLOUT) != 0;
}

void SocketWait::wake() {
  eventfd_write(static_cast<int>(bell_), 1);
}

}  // namespace devkit::bus
