#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "devkit/common/os.h"

namespace devkit::os {

namespace {

[[noreturn]] void fail(int number, const std::string& what) {
  throw std::system_error(number, std::generic_category(), what);
}

/// Longer than anybody needs who ends at all.
constexpr std::chrono::seconds stop_patience{30};

/// Leaves the child's exit code to be had.
bool has_ended(std::uint64_t id) {
  siginfo_t info = {};
  return waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
         info.si_pid != 0;
}

sigset_t ending_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

/// The attributes of a child that starts with an untouched signal mask, whatever Interrupt blocked.
class spawn_attributes {
 public:
  spawn_attributes() {
    posix_spawnattr_init(&value);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&value, &none);
    posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSIGMASK);
  }
  ~spawn_attributes() { posix_spawnattr_destroy(&value); }
  posix_spawnattr_t value;
};

}  // namespace

std::filesystem::path program() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

std::filesystem::path own_folder() {
  Dl_info info = {};
  if (dladdr(reinterpret_cast<void*>(&own_folder), &info) == 0 || info.dli_fname == nullptr) {
    throw std::runtime_error("the folder of this library can't be found");
  }
  // A program's own name here is what it was started as, which a later change of folder spoils.
  const std::filesystem::path name = info.dli_fname;
  return name.has_parent_path() && std::filesystem::exists(name)
             ? std::filesystem::absolute(name).parent_path()
             : program().parent_path();
}

std::uint32_t process_id() {
  return static_cast<std::uint32_t>(getpid());
}
std::uint32_t thread_id() {
  return static_cast<std::uint32_t>(syscall(SYS_gettid));
}

std::optional<std::string> environment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::vector<std::string> environment_names() {
  std::vector<std::string> names;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    names.emplace_back(text.substr(0, text.find('=')));
  }
  return names;
}

void set_environment(const char* name, const std::optional<std::string>& value) {
  const int failed = value ? setenv(name, value->c_str(), 1) : unsetenv(name);
  if (failed != 0) fail(errno, name);
}

std::vector<std::string> arguments(int count, char** values) {
  return count > 0 ? std::vector<std::string>(values + 1, values + count)
                   : std::vector<std::string>();
}

bool prepare_terminal() {
  return isatty(STDOUT_FILENO) != 0;
}

void own_port_alone(std::intptr_t socket) {
  const int yes = 1;
  setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  fcntl(static_cast<int>(socket), F_SETFD, FD_CLOEXEC);
}

void append_to_file(const std::filesystem::path& path, std::string_view text) {
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) fail(errno, path.string() + " can't be opened for writing");
  // For a text that takes more than one write; the lock goes with the file's closing.
  int error = 0;
  while (flock(file, LOCK_EX) != 0 && error == 0) error = errno == EINTR ? 0 : errno;
  struct stat before = {};
  const bool can_be_cut = error == 0 && fstat(file, &before) == 0 && S_ISREG(before.st_mode);
  while (error == 0 && !text.empty()) {
    const ssize_t count = write(file, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  // Part of a line would spoil the one that follows it.
  if (error != 0 && can_be_cut && ftruncate(file, before.st_size) != 0) error = errno;
  close(file);
  if (error != 0) fail(error, path.string() + " can't be written");
}

bool is_held_up(const std::error_code&) {
  return false;
}

FileLock::FileLock(const std::filesystem::path& path)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (file_ < 0 && errno != ENOENT) fail(errno, path.string() + " can't be opened");
}

FileLock::~FileLock() {
  if (file_ >= 0) close(static_cast<int>(file_));
}

bool FileLock::try_lock() {
  if (file_ < 0 || flock(static_cast<int>(file_), LOCK_EX | LOCK_NB) == 0) return true;
  if (errno == EWOULDBLOCK || errno == EINTR) return false;
  fail(errno, "flock");
}

std::string library_name(std::string_view stem) {
  return std::string(stem) + ".so";
}

Library::Library(const std::filesystem::path& path)
    : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Library::~Library() {
  dlclose(handle_);
}

void* Library::address(const char* name) const {
  void* const found = dlsym(handle_, name);
  if (found == nullptr)
    throw std::runtime_error(std::string("the library lacks the function ") + name);
  return found;
}

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                 Input input) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail(errno, "pipe2");
  output_ = ends[0];
  // A pair of sockets, since writing to one whose reader is gone can be told not to raise a signal.
  int input_ends[2] = {-1, -1};
  if (input == Input::piped &&
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input_ends) != 0) {
    const int error = errno;
    close(ends[1]);
    close_output();
    fail(error, "socketpair");
  }
  input_ = input_ends[0];

  std::string name = program.string();
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers = {name.data()};
  for (std::string& copy : copies) pointers.push_back(copy.data());
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  if (input_ends[1] != -1) posix_spawn_file_actions_adddup2(&actions, input_ends[1], STDIN_FILENO);
  const spawn_attributes attributes;
  pid_t child = 0;
  const int error =
      posix_spawn(&child, name.c_str(), &actions, &attributes.value, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (input_ends[1] != -1) close(input_ends[1]);
  if (error != 0) {
    close_input();
    close_output();
    fail(error, "could not start " + name);
  }
  id_ = static_cast<std::uint64_t>(child);
}

Process::~Process() {
  stop();
  close_input();
  close_output();
}

std::size_t Process::read_some(char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = read(static_cast<int>(output_), buffer, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail(errno, "read");
  }
}

bool Process::write_all(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = send(static_cast<int>(input_), text.data(), text.size(), MSG_NOSIGNAL);
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void Process::close_input() noexcept {
  if (input_ != -1) close(static_cast<int>(input_));
  input_ = -1;
}

void Process::close_output() noexcept {
  close(static_cast<int>(output_));
}

void Process::stop() {
  if (exit_code_) return;
  ::kill(static_cast<pid_t>(id_), SIGTERM);
  const auto end = std::chrono::steady_clock::now() + stop_patience;
  while (!has_ended(id_)) {
    if (std::chrono::steady_clock::now() > end) {
      std::fprintf(stderr, "Process %llu doesn't heed the wish to end, and is killed.\n",
                   static_cast<unsigned long long>(id_));
      return kill();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  wait();
}

void Process::kill() {
  if (exit_code_) return;
  ::kill(static_cast<pid_t>(id_), SIGKILL);
  wait();
}

int Process::wait() {
  if (exit_code_) return *exit_code_;
  int status = 0;
  while (waitpid(static_cast<pid_t>(id_), &status, 0) < 0) {
    if (errno != EINTR) fail(errno, "waitpid");
  }
  exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return *exit_code_;
}

Interrupt::Interrupt() {
  const sigset_t set = ending_signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

Interrupt::~Interrupt() {
  const sigset_t set = ending_signals();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void Interrupt::wait() {
  const sigset_t set = ending_signals();
  int signal = 0;
  sigwait(&set, &signal);
}

bool Interrupt::wait_for(std::uint32_t milliseconds) {
  const sigset_t set = ending_signals();
  const timespec limit = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<long>(milliseconds % 1000) * 1000000};
  return sigtimedwait(&set, nullptr, &limit) > 0;
}

}  // namespace devkit::os
