#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "devkit/zvnc/PushDispatcher.h"
#include "devkit/zvnc/PushRegistrations.h"
#include "devkit/zvnc/Transfer.h"

namespace zvnc {

/// What the kit's user has set for pushes.
struct PushDefaults {
  std::uint32_t threads;               ///< that call back
  std::uint32_t retry_milliseconds;    ///< the first pause after a broken stream
  std::uint32_t silence_milliseconds;  ///< after which a stream counts as broken
};

/// An instance's pushes: its registrations, the one stream over which they come, and the threads
/// that call back. A stream that breaks is made anew, after pauses that grow from one failure to
/// the next, and takes all registrations along. Any thread.
class PushStream {
 public:
  /// `route` tells the way to the server, each time anew.
  PushStream(std::function<Route()> route, const PushDefaults& defaults);
  PushStream(const PushStream&) = delete;
  PushStream& operator=(const PushStream&) = delete;
  ~PushStream();

  /// Registers with the server, which blocks, and has the stream running from then on.
  std::uint32_t add(const PushTarget& target, const cirrel_push_callbacks& callbacks,
                    const std::string& token, Cancellation& cancellation);
  /// The way to the server may be another from now on: if so, the stream is made anew over it.
  void check_route();
  /// Whether the calling thread calls back for it.
  bool is_own_thread() const;
  /// Ends the stream and waits for running callbacks. Not on a thread of its own.
  void stop();

 private:
  bool start();
  void run();
  /// Until the stream breaks; true if it ever stood.
  bool stream_once();
  bool register_late_ones(std::uint64_t last, Cancellation& cancellation);
  std::uint32_t register_one(const Route& route, const PushRegistrations::Registration& one,
                             Cancellation& cancellation) const;

  const std::function<Route()> route_;
  const PushDefaults defaults_;
  const std::string name_;
  PushRegistrations registrations_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  bool hurries_ = false;  ///< makes the stream anew without a pause
  Route current_route_;
  std::shared_ptr<Cancellation> connection_;  ///< null between two
  std::unique_ptr<PushDispatcher> dispatcher_;
  std::mutex join_mutex_;
  std::thread thread_;
};

}  // namespace zvnc
