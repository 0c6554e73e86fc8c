#include "devkit/broker/Broker.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "devkit/common/text.h"

namespace devkit {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds start_time{30};
/// For a port that the last run has just let go.
constexpr std::chrono::seconds port_time{10};
/// Below the ports that systems give to connections by themselves.
constexpr std::uint16_t first_port = 15000;
constexpr std::uint16_t last_port = 31999;
constexpr int most_tries = 50;

std::uint16_t some_port() {
  std::random_device random;
  return std::uniform_int_distribution<std::uint16_t>(first_port, last_port)(random);
}

fs::path new_folder() {
  static std::atomic<int> next = 0;
  fs::path folder = fs::temp_directory_path() /
                    ("splice-broker-" + std::to_string(os::process_id()) + "-" +
                     std::to_string(std::random_device()()) + "-" + std::to_string(next++));
  fs::create_directories(folder);
  return folder;
}

std::string content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

/// One broker process, from its start to its end.
class Broker::Run {
 public:
  Run(const fs::path& folder, std::uint16_t port) : log_(folder / "log") {
    // Started by root it goes on as another user, who couldn't make a file here, nor empty one.
    std::ofstream(log_, std::ios::binary | std::ios::trunc).flush();
    fs::permissions(log_, fs::perms(0666));
    std::ofstream(folder / "conf", std::ios::binary)
        << "listener " << port << " 127.0.0.1\n"
        << "allow_anonymous true\n"
           "set_tcp_nodelay true\n"
           // What it kept of the dead would outlive them.
           "persistence false\n"
           // Without limits, which would cost slow readers messages.
           "max_queued_messages 0\n"
           "max_inflight_messages 0\n"
           // By its log we see it start.
           "connection_messages false\n"
           "log_type error\nlog_type warning\nlog_type information\n"
        << "log_dest file " << path_text(log_) << "\n";
    process_.emplace(program(), std::vector<std::string>{"-c", path_text(folder / "conf")});
    // It writes nothing there: the output's end is the process's.
    watcher_ = std::thread([this] {
      process_->read_all();
      ended_ = true;
    });
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    process_->kill();
    watcher_.join();
  }

  std::string log() const { return content(log_); }
  bool is_running() const { return !ended_; }

  /// False if it ended instead.
  bool wait_until_running() const {
    const auto end = std::chrono::steady_clock::now() + start_time;
    while (log().find(" running") == std::string::npos) {
      if (ended_) return false;
      if (std::chrono::steady_clock::now() > end)
        throw std::runtime_error("the broker doesn't start: " + log());
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
  }

 private:
  const fs::path log_;
  std::optional<os::Process> process_;
  std::atomic<bool> ended_ = false;
  std::thread watcher_;
};

namespace {

/// Without the time in seconds that it begins with.
std::string last_line(std::string log) {
  while (!log.empty() && (log.back() == '\n' || log.back() == '\r')) log.pop_back();
  std::string line = log.substr(log.rfind('\n') + 1);
  const std::size_t time = line.find(": ");
  if (time != std::string::npos && line.find_first_not_of("0123456789") == time)
    line.erase(0, time + 2);
  return line;
}

}  // namespace

fs::path Broker::program() {
  if (const std::optional<std::string> named = os::environment("SPLICE_MOSQUITTO"))
    return to_path(*named);
  for (const fs::path& candidate :
       {os::own_folder() / "mosquitto.exe", os::own_folder() / "mosquitto",
        fs::path("/usr/sbin/mosquitto"), fs::path("/usr/local/sbin/mosquitto")}) {
    // What is no whole path on this system belongs to another one, whose programs don't serve here.
    if (candidate.is_absolute() && fs::exists(candidate)) return candidate;
  }
  throw std::runtime_error(
      "there is no mosquitto: ./dev setup installs it, or SPLICE_MOSQUITTO names its program");
}

Broker::Broker(std::optional<std::uint16_t> port) : folder_(new_folder()) {
  for (int tries = 0; tries < (port ? 1 : most_tries); ++tries) {
    port_ = port.value_or(some_port());
    run_ = std::make_unique<Run>(folder_, port_);
    if (run_->wait_until_running()) return;
  }
  const std::string said = run_->log();
  run_.reset();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
  throw std::runtime_error("port " + std::to_string(port_) + " of 127.0.0.1 can't be had (" +
                           last_line(said) +
                           "); stop what listens there, or choose another with --port (0 takes any "
                           "free one)");
}

Broker::~Broker() {
  kill();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

bool Broker::is_running() const {
  return run_ != nullptr && run_->is_running();
}

std::string Broker::last_words() const {
  return run_ != nullptr ? last_line(run_->log()) : std::string();
}

void Broker::kill() {
  run_.reset();
}

void Broker::start() {
  if (run_ != nullptr) return;
  // The system may hold the port for a moment.
  const auto end = std::chrono::steady_clock::now() + port_time;
  for (;;) {
    run_ = std::make_unique<Run>(folder_, port_);
    if (run_->wait_until_running()) return;
    if (std::chrono::steady_clock::now() > end) {
      const std::string said = run_->log();
      run_.reset();
      throw std::runtime_error("the broker doesn't start again: " + said);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace devkit
