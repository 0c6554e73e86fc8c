#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace httplib {
class Client;
struct Request;
}  // namespace httplib

namespace devkit {

/// Sends a request on, and hands its answer out while it is still coming in.
class StreamRelay {
 public:
  /// `server` as "http://host:port".
  StreamRelay(const std::string& server, httplib::Request request);
  StreamRelay(const StreamRelay&) = delete;
  StreamRelay& operator=(const StreamRelay&) = delete;
  /// Hangs up.
  ~StreamRelay();

  /// Waits for the answer's beginning; null if there is none.
  std::optional<int> status();
  /// What has come in, waiting for some so long; null when the answer has ended.
  std::optional<std::string> next(std::chrono::milliseconds patience);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<int> status_;
  std::string bytes_;
  bool ended_ = false;
  bool hung_up_ = false;
  std::unique_ptr<httplib::Client> client_;
  std::thread thread_;
};

}  // namespace devkit
