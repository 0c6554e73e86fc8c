#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct curl_slist;

// libcurl's own header stays in the .cpp: on Windows it brings names that the binary contract has
// for itself.
namespace zvnc {

/// libcurl's own start and end, which it counts.
class CurlUse {
 public:
  CurlUse();
  CurlUse(const CurlUse&) = delete;
  CurlUse& operator=(const CurlUse&) = delete;
  ~CurlUse();
};

/// Where a request goes and by which way.
struct Route {
  std::string server;  ///< with its scheme, without a final slash
  std::string proxy;   ///< "host:port", empty for none
  std::string proxy_user;
  std::string proxy_password;
  std::string certificates;  ///< file of trusted certificates; empty for the system's

  bool operator==(const Route&) const = default;
};

/// The way to call off all transfers of an instance, at once and for good.
class Cancellation {
 public:
  void cancel();
  bool is_cancelled() const noexcept { return cancelled_; }

  void enter(void* transfer);
  void leave(void* transfer);

 private:
  std::atomic<bool> cancelled_ = false;
  std::mutex mutex_;
  std::set<void*> running_;
};

/// One HTTP exchange on the calling thread. Every failure becomes a number of status.h.
class Transfer {
 public:
  /// With a timeout of 0 it may last for ever, once it is connected.
  Transfer(const Route& route, const std::string& path, std::uint32_t timeout_milliseconds);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer();

  void add_header(const std::string& name, const std::string& value);
  /// Sends `body`, which has to stay as it is until `run` returns.
  void post(std::string_view body);
  /// Sends the file, telling `progress` how many bytes of it the connection has taken; false calls
  /// the transfer off.
  bool post_file(const std::filesystem::path& file,
                 std::function<bool(std::uint64_t sent)> progress);
  std::uint64_t file_size() const noexcept { return file_size_; }
  /// Hands the answer out piece by piece, on the thread of `run`, in place of keeping it; false
  /// calls the transfer off. A silence of `silence_milliseconds` is a timeout.
  void receive(std::function<bool(std::string_view bytes)> receiver,
               std::uint32_t silence_milliseconds);
  void limit_answer(std::uint64_t bytes) noexcept { limit_ = bytes; }

  /// Blocks until the exchange has ended in one way or another.
  std::uint32_t run(Cancellation& cancellation);
  const std::string& answer() const noexcept { return answer_; }

 private:
  struct open_file;

  struct Callbacks;
  bool hand_out(std::string_view bytes);
  std::uint32_t as_status(int result) const;
  std::uint32_t http_status() const;

  void* easy_;
  void* multi_;
  curl_slist* headers_ = nullptr;
  bool has_proxy_;
  std::string answer_;
  std::uint64_t limit_;
  bool too_large_ = false;
  bool called_off_ = false;
  std::function<bool(std::string_view)> receiver_;
  std::chrono::steady_clock::duration longest_silence_ = std::chrono::steady_clock::duration::max();
  std::chrono::steady_clock::time_point last_heard_;
  open_file* file_ = nullptr;
  std::uint64_t file_size_ = 0;
  std::function<bool(std::uint64_t)> progress_;
};

/// The text with everything but letters, digits and "-._~/" written as %xx.
std::string escaped(std::string_view text);

}  // namespace zvnc
