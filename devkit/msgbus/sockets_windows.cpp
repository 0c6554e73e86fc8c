#include <winsock2.h>
// Behind it, or it would bring in an older one.
#include <windows.h>

#include <algorithm>
#include <system_error>

#include "devkit/msgbus/sockets.h"

namespace devkit::bus {

namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

/// A socket that sends to itself: only sockets can be waited for together with sockets.
std::intptr_t new_bell() {
  WSADATA ignored;
  if (WSAStartup(MAKEWORD(2, 2), &ignored) != 0) fail("WSAStartup");
  const SOCKET bell = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  if (bell == INVALID_SOCKET) fail("socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  int size = sizeof address;
  u_long non_blocking = 1;
  if (bind(bell, any, size) != 0 || getsockname(bell, any, &size) != 0 ||
      connect(bell, any, size) != 0 || ioctlsocket(bell, FIONBIO, &non_blocking) != 0) {
    fail("a socket to itself");
  }
  const auto handle = static_cast<std::intptr_t>(bell);
  keep_from_children(handle);
  return handle;
}

}  // namespace

void keep_from_children(std::intptr_t socket) {
  SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

SocketWait::SocketWait() : bell_(new_bell()) {}

SocketWait::~SocketWait() {
  closesocket(static_cast<SOCKET>(bell_));
  WSACleanup();
}

bool SocketWait::is_readable(std::intptr_t socket, bool or_writable,
                             std::chrono::milliseconds limit) {
  const auto connection = static_cast<SOCKET>(socket);
  const auto bell = static_cast<SOCKET>(bell_);
  fd_set readable{};
  fd_set writable{};
  FD_SET(bell, &readable);
  FD_SET(connection, &readable);
  if (or_writable) FD_SET(connection, &writable);
  timeval time{static_cast<long>(limit.count() / 1000),
               static_cast<long>(limit.count() % 1000 * 1000)};
  // A socket that was closed meanwhile makes it fail: whoever reads from it is told so.
  if (select(0, &readable, &writable, nullptr, &time) < 0) return true;
  if (char ignored = 0; FD_ISSET(bell, &readable)) recv(bell, &ignored, sizeof ignored, 0);
  return FD_ISSET(connection, &readable);
}

void SocketWait::wake() {
  send(static_cast<SOCKET>(bell_), "", 1, 0);
}

}  // namespace devkit::bus
