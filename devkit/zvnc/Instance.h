#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "devkit/zvnc/CloudUpCallbacks.h"
#include "devkit/zvnc/PushStream.h"
#include "devkit/zvnc/Transfer.h"

namespace zvnc {

/// What the kit's user has set: by environment, or else by zvnc.json beside the library, or else by
/// default.
struct Defaults {
  std::string server;        ///< SPLICE_CLOUD, "server": the default server
  std::string certificates;  ///< SPLICE_CA, "certificates": a file of trusted certificates
  std::uint32_t
      health_milliseconds;     ///< SPLICE_HEALTH_MS, "health_milliseconds": the heartbeat's pause
  std::uint64_t answer_limit;  ///< SPLICE_ANSWER_LIMIT, "answer_limit": bytes of the longest answer
  PushDefaults pushes;         ///< SPLICE_PUSH_THREADS, _RETRY_MS and _SILENCE_MS, "push_threads",
                               ///< "push_retry_milliseconds" and "push_silence_milliseconds"

  static Defaults read();
};

/// A client instance. Any operation from any thread, at the same time; none holds a lock while it
/// is on the wire or in a callback.
class Instance {
 public:
  Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance();

  std::uint32_t ask(const cirrel_ask_request& request, std::string& answer);
  std::uint32_t upload(const cirrel_upload_request& request, cirrel_upload_callback callback,
                       void* context);

  /// Has pushes for the target come to the callbacks until the instance ends.
  std::uint32_t register_for_pushes(const PushTarget& target, const std::string& token,
                                    const cirrel_push_callbacks& callbacks);

  std::uint32_t set_number(std::uint32_t option, std::uint32_t value);
  std::uint32_t set_local_server(const char* server);
  std::uint32_t set_proxy(std::uint32_t option, const char* proxy, const char* user,
                          const char* password);
  std::uint32_t get_number(std::uint32_t option, std::uint32_t& value);
  CloudUpCallbacks& callbacks() noexcept { return callbacks_; }

  /// Ends the watching, the pushes and all that is on the wire, and waits for running callbacks.
  /// `wrong_thread` on a callback's own thread.
  std::uint32_t close();

 private:
  struct Proxy {
    std::string address;
    std::string user;
    std::string password;
  };
  struct Settings {
    std::string local_server;
    std::uint32_t ssl = 0;
    Proxy proxy;
    Proxy local_proxy;
    std::uint32_t cloud_init = 0;
    std::uint32_t upload_a = 0;
    std::uint32_t upload_b = 0;
    std::uint32_t upload_timeout = 0;
  };

  Settings settings() const;
  Route route(const Settings& settings) const;
  void start_watching();
  void stop_watching();
  void watch();
  bool is_reachable();

  const CurlUse curl_;
  const Defaults defaults_;
  mutable std::mutex mutex_;
  Settings settings_;
  Cancellation cancellation_;
  CloudUpCallbacks callbacks_;
  PushStream pushes_;
  std::atomic<bool> is_up_ = false;

  std::mutex watcher_mutex_;  ///< held across the watcher's start and stop
  std::thread watcher_;
  std::atomic<std::thread::id> watcher_id_ = std::thread::id();
  std::mutex stop_mutex_;
  std::condition_variable stop_changed_;
  bool stop_ = false;
  std::unique_ptr<Cancellation> watching_;
};

}  // namespace zvnc
