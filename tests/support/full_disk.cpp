#include "support/full_disk.h"

#include <stdexcept>

#ifdef _WIN32

namespace support::full_disk {

bool possible() {
  return false;
}
Limit::Limit(unsigned long) {
  throw std::logic_error("not here");
}
Limit::~Limit() = default;

}  // namespace support::full_disk

#else

#include <sys/resource.h>

#include <csignal>

namespace support::full_disk {
namespace {

unsigned long set_limit(unsigned long bytes) {
  rlimit limits{};
  getrlimit(RLIMIT_FSIZE, &limits);
  const rlim_t former = limits.rlim_cur;
  limits.rlim_cur = bytes;
  if (setrlimit(RLIMIT_FSIZE, &limits) != 0) throw std::runtime_error("files can't be limited");
  return former;
}

}  // namespace

bool possible() {
  return true;
}

Limit::Limit(unsigned long bytes) {
  // Else a write too many ends the process instead of failing.
  std::signal(SIGXFSZ, SIG_IGN);
  former_ = set_limit(bytes);
}
Limit::~Limit() {
  set_limit(former_);
  std::signal(SIGXFSZ, SIG_DFL);
}

}  // namespace support::full_disk

#endif
