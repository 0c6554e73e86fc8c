#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// What the kit asks of the operating system. All texts are UTF-8. Failures throw std::system_error
/// where nothing else is told.
namespace devkit::os {

std::filesystem::path program();
/// The folder of the library or program that this code was linked into.
std::filesystem::path own_folder();
std::uint32_t process_id();
std::uint32_t thread_id();

/// Null if the variable isn't set. Asks the system each time, so a change by any library counts.
std::optional<std::string> environment(const char* name);
/// The names of all variables that are set; in capitals where the system doesn't tell cases apart.
std::vector<std::string> environment_names();
/// For this process and the ones it starts; null removes it. Not to be raced with `environment`.
void set_environment(const char* name, const std::optional<std::string>& value);

/// The program's arguments without its name.
std::vector<std::string> arguments(int count, char** values);
/// Whether people read standard output; makes it take UTF-8 and a terminal's sequences.
bool prepare_terminal();

/// Lets a listening socket take over a port whose last connections are still fading, and no port
/// that another process listens on.
void own_port_alone(std::intptr_t socket);

/// Adds `text` to the end of the file, which is made if there is none. It stays in one piece,
/// however many processes add to the file at the time; what can't be written whole isn't there at
/// all.
void append_to_file(const std::filesystem::path& path, std::string_view text);

/// Whether a file couldn't be replaced because somebody has it open for the moment.
bool is_held_up(const std::error_code& error);

/// The lock by which the module's processes exclude each other, for who won't wait for it, nor be
/// the one who creates its file. Without that file there is nothing to exclude, and it is had at
/// once.
class FileLock {
 public:
  explicit FileLock(const std::filesystem::path& path);
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  /// Lets go of it.
  ~FileLock();

  /// False while somebody else has it.
  bool try_lock();

 private:
  std::intptr_t file_;
};

/// The file name of a library: "log" is "log.dll" on Windows and "log.so" on Linux.
std::string library_name(std::string_view stem);

/// A loaded library. Its symbols are valid as long as it.
class Library {
 public:
  /// By path. Libraries in its own folder are found by it, and by bare name from then on.
  explicit Library(const std::filesystem::path& path);
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  /// Throws std::runtime_error if the library lacks it.
  template <class Function>
  Function symbol(const char* name) const {
    return reinterpret_cast<Function>(address(name));
  }

 private:
  void* address(const char* name) const;

  void* handle_;
};

/// A child process. Its standard output comes here line by line; the rest it shares with this one,
/// but for its standard input where that is to come from here.
class Process {
 public:
  enum class Input { shared, piped };

  Process(const std::filesystem::path& program, const std::vector<std::string>& arguments,
          Input input = Input::shared);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  /// Stops the child if it still runs.
  ~Process();

  std::uint64_t id() const noexcept { return id_; }
  /// The next line without its end; null when the child has closed its output.
  std::optional<std::string> read_line();
  /// Everything up to the end of the child's output.
  std::string read_all();
  /// A line for a piped input, which gets its end here. False if nobody reads it any more.
  bool write_line(std::string_view line);
  /// No more lines come.
  void close_input() noexcept;
  /// Ends the child from outside, as a power cut would (Windows) or as a service manager would
  /// (Linux), and waits for its end. Who doesn't heed that within 30 seconds is killed, and told
  /// about on standard error. Repeating it is harmless.
  void stop();
  /// Ends the child from outside before it can do anything about it, and waits for its end.
  void kill();
  /// Waits for the child's own end and gives its exit code.
  int wait();

 private:
  std::size_t read_some(char* buffer, std::size_t size);
  bool write_all(std::string_view text);
  void close_output() noexcept;

  std::uint64_t id_ = 0;
  std::intptr_t handle_ = 0;
  std::intptr_t output_ = 0;
  std::intptr_t input_ = -1;  ///< -1: the child's input isn't ours
  std::string unread_;
  std::optional<int> exit_code_;
};

/// Ctrl-C and the polite wish to end, as something to wait for. To be made before any thread is.
class Interrupt {
 public:
  Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;
  ~Interrupt();

  void wait();
  /// True when it came within the time.
  bool wait_for(std::uint32_t milliseconds);
};

}  // namespace devkit::os
