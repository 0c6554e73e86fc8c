#include "_base/directory_mgmt/directories_changes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>

#include "_base/Event.h"
#include "_base/expected.h"
#include "_base/win_error.h"
#include "frame/logger_stream.h"
#include "platform/directory_changes.h"
#include "platform/event.h"

namespace winapi::directory_mgmt {
namespace {

constexpr const wchar_t* worker_function = L"winapi::directory_mgmt::directories_changes::worker";

constexpr std::uint32_t error_not_supported = 50;
/// How long a watcher rests whose wait the system has refused.
constexpr std::uint32_t pause_milliseconds = 1000;

struct close_reader {
  void operator()(platform::directory_reader* reader) const noexcept {
    platform::close_directory(reader);
  }
};
using owned_reader = std::unique_ptr<platform::directory_reader, close_reader>;

/// One watched folder.
struct directory_changes {
  directory_changes(const std::wstring& the_folder, owned_reader the_reader) noexcept
      : folder(the_folder), reader(std::move(the_reader)) {}

  const std::wstring& folder;
  /// Never cleared between reads: what stands in it after an overflow is told once more, which is
  /// meant, as the alternative is silence.
  alignas(32) std::array<unsigned char, 4096> buffer{};
  owned_reader reader;  ///< goes before the buffer, into which it may be reading
};

/// The folder, open and ready to be read; else the system's number.
stdext::expected<owned_reader, std::uint32_t> make_directory_changes(const std::wstring& path) {
  std::uint32_t error = 0;
  owned_reader reader(platform::open_directory(path.c_str(), error));
  if (reader == nullptr) return stdext::unexpected{error};
  if (!platform::create_read_event(reader.get(), error)) {
    // That nobody catches this, and the process ends by it, is meant: a system without an event to
    // give isn't one to go on in.
    throw std::system_error(winapi::make_error_code(error), "CreateEvent failed");
  }
  return reader;
}

/// The folders of one watcher, each with a read in progress or on the list for another try.
class folder_reads {
 public:
  /// `folders` must outlive this object. All memory is taken here, as the watcher's thread, where
  /// all else happens, has nobody to tell that there is none.
  folder_reads(const std::vector<std::wstring>& folders, std::uint32_t filter)
      : folders_(folders), filter_(filter) {
    const std::size_t most = std::min(folders.size(), platform::most_readers);
    watches_.reserve(most);
    active_.reserve(most);
    readers_.reserve(most);
    retry_.reserve(most);
  }

  void begin() {
    for (const std::wstring& folder : folders_) open(folder);
    for (directory_changes& changes : watches_) {
      std::uint32_t error = 0;
      // Without a word in the log: only a failure that repeats is told.
      if (!start(changes, error)) retry_.push_back(&changes);
    }
  }

  /// As platform::wait_for_changes.
  std::size_t wait(const Event& stop) const noexcept {
    return platform::wait_for_changes(readers_.data(), readers_.size(), stop.handle());
  }

  const directory_changes& changes(std::size_t index) const noexcept { return *active_[index]; }

  /// Reads on in the folder whose read has completed.
  void read_on(std::size_t index) {
    directory_changes* const changes = active_[index];
    std::uint32_t error = 0;
    if (start_reading(*changes, error)) return;
    log_failed_read(*changes, error);
    active_.erase(std::next(active_.begin(), static_cast<std::ptrdiff_t>(index)));
    readers_.erase(std::next(readers_.begin(), static_cast<std::ptrdiff_t>(index)));
    retry_.push_back(changes);
  }

  /// Gives each folder that has no read in progress another try, also one that has just failed.
  void retry() {
    std::erase_if(retry_, [this](directory_changes* changes) {
      std::uint32_t error = 0;
      const bool started = start(*changes, error);
      if (!started) log_failed_read(*changes, error);
      return started;
    });
  }

 private:
  void open(const std::wstring& folder) {
    // More can't be waited for: the wait for all of them would be refused, the others' too.
    if (watches_.size() == platform::most_readers) return log_unopened(folder, error_not_supported);
    auto opened = make_directory_changes(folder);
    if (!opened) return log_unopened(folder, opened.error());
    watches_.emplace_back(folder, std::move(opened).value());
  }

  bool start_reading(directory_changes& changes, std::uint32_t& error) const noexcept {
    return platform::start_reading(changes.reader.get(), changes.buffer.data(),
                                   static_cast<std::uint32_t>(changes.buffer.size()), filter_,
                                   error);
  }

  bool start(directory_changes& changes, std::uint32_t& error) {
    if (!start_reading(changes, error)) return false;
    active_.push_back(&changes);
    readers_.push_back(changes.reader.get());
    return true;
  }

  static void log_unopened(const std::wstring& folder, std::uint32_t error) {
    LOG_LINE(logging::failure, worker_function)
        << L"make_directory_changes for " << folder << L" err=" << error;
  }

  static void log_failed_read(const directory_changes& changes, std::uint32_t error) {
    LOG_LINE(logging::failure, worker_function)
        << L"failed read for " << changes.folder << L" err=" << error;
  }

  const std::vector<std::wstring>& folders_;
  const std::uint32_t filter_;
  std::vector<directory_changes> watches_;            ///< never grows beyond what was reserved
  std::vector<directory_changes*> active_;            ///< with a read in progress
  std::vector<platform::directory_reader*> readers_;  ///< theirs, one by one
  std::vector<directory_changes*> retry_;             ///< the others
};

}  // namespace

/// The thread and what it uses. From outside nothing but the stop event is touched meanwhile.
class directories_changes::watch_worker {
 public:
  watch_worker(idirectories_observer* observer, std::vector<std::wstring> folders,
               std::uint32_t filter)
      : reporter_(observer),
        folders_(std::move(folders)),
        reads_(folders_, filter),
        thread_([this] { run(); }) {}

  void stop() {
    stop_event_.Set();
    thread_.join();
  }

 private:
  void run() {
    reads_.begin();
    for (;;) {
      const std::size_t index = reads_.wait(stop_event_);
      if (index == platform::stop_signalled) return;
      if (index == platform::no_reader) {
        // Trying on at once would never rest.
        if (platform::wait_event(stop_event_.handle(), pause_milliseconds)) return;
        // A system that refuses every wait refuses the pause as well.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        continue;
      }
      const directory_changes& changes = reads_.changes(index);
      // Before the next read begins: until then the buffer stays as it is.
      reporter_.report(changes.folder.c_str(), {changes.buffer.data(), changes.buffer.size()});
      reads_.read_on(index);
      reads_.retry();
    }
  }

  change_reporter reporter_;
  const std::vector<std::wstring> folders_;
  folder_reads reads_;
  Event stop_event_;
  std::thread thread_;  ///< last, as it uses all the others
};

directories_changes::directories_changes(idirectories_observer* observer,
                                         std::vector<std::wstring> folders, std::uint32_t filter)
    : worker_(std::make_unique<watch_worker>(observer, std::move(folders), filter)) {}

directories_changes::~directories_changes() noexcept(false) {
  // A worker that can't be stopped is left behind, for its thread goes on in it.
  watch_worker* const worker = worker_.release();
  worker->stop();
  delete worker;
}

}  // namespace winapi::directory_mgmt
