#include "support/ForkedChild.h"

#include <stdexcept>

#ifdef _WIN32

namespace support {

bool ForkedChild::possible() {
  return false;
}
ForkedChild::ForkedChild(const std::function<void(const std::function<void()>&)>&) {
  throw std::runtime_error("processes can't be copied here");
}
void ForkedChild::kill() {}

}  // namespace support

#else

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace support {

bool ForkedChild::possible() {
  return true;
}

ForkedChild::ForkedChild(const std::function<void(const std::function<void()>&)>& work) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    work([&] {
      if (write(ends[1], "r", 1) != 1) _exit(1);
      for (;;) pause();
    });
    _exit(1);
  }
  close(ends[1]);
  char letter = 0;
  const bool ready = process_ > 0 && read(ends[0], &letter, 1) == 1;
  close(ends[0]);
  if (ready) return;
  kill();
  throw std::runtime_error("the child ended before it was ready");
}

void ForkedChild::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
}

}  // namespace support

#endif
