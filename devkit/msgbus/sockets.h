#pragma once

#include <chrono>
#include <cstdint>

namespace devkit::bus {

/// Keeps an open socket to this process: children that it starts from now on don't inherit it.
void keep_from_children(std::intptr_t socket);

/// Waits until a socket is ready, or it is woken. Throws std::system_error if the system has no
/// means left for it.
class SocketWait {
 public:
  SocketWait();
  SocketWait(const SocketWait&) = delete;
  SocketWait& operator=(const SocketWait&) = delete;
  ~SocketWait();

  /// True if there is something to read, or the connection's end. Not more than one thread at a
  /// time.
  bool is_readable(std::intptr_t socket, bool or_writable, std::chrono::milliseconds limit);
  /// Ends a wait, or else the next one. Any thread.
  void wake();

 private:
  const std::intptr_t bell_;
};

}  // namespace devkit::bus
