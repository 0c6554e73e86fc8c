#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "devkit/cloud/PushTarget.h"

namespace devkit {

/// The push streams of the development cloud: who registered for what, and what waits to be written
/// to whom. A stream has a name that its client chose, and at most one connection. What was
/// registered and what waits goes with the connection; a stream that never got one goes after ten
/// seconds. Any thread.
///
/// On the wire:
///   hello\n                     the registrations are known from here on
///   beat\n                      nothing to say, but alive
///   push <bytes> <target>\n     followed by so many bytes of text; the target is a JSON object of
///                               the registration that is meant, empty texts for all of the stream
class PushHub {
 public:
  struct Client {
    std::string stream;
    std::uint32_t process = 0;
  };

  /// Adds a registration; one that is there counts as the newest.
  void add(const Client& client, const PushTarget& target);
  /// A connection for the stream, with more registrations. Takes over from the one before. Null
  /// when there are as many as the server has room for.
  std::optional<std::uint64_t> attach(const Client& client, const std::vector<PushTarget>& targets);
  void detach(std::uint64_t connection);
  /// What is to be written next: pushes as soon as there are any, or a sign of life when there were
  /// none for so long. Null when the connection is over.
  std::optional<std::string> next(std::uint64_t connection, std::chrono::milliseconds beat);

  /// Queues a push for each stream that it concerns, once: for its newest registration that fits,
  /// or for all of its registrations if the target names no application. `make_text` makes the text
  /// for what was registered. Gives how many streams it was.
  std::size_t send(const PushTarget& target,
                   const std::function<std::string(const PushTarget& registered)>& make_text);

  nlohmann::json list() const;
  /// How many registrations came in, repeated ones included.
  std::uint64_t registrations() const;
  /// Ends all connections, and gives how many there were.
  std::size_t break_all();
  /// Ends all connections for good.
  void release();

 private:
  using clock = std::chrono::steady_clock;

  struct Stream {
    Client client;
    std::vector<PushTarget> targets;  ///< oldest first
    std::deque<std::string> waiting;
    std::uint64_t connection = 0;  ///< 0: none yet
    std::uint64_t sent = 0;
    clock::time_point made = clock::now();
    std::condition_variable changed;
  };
  using Streams = std::map<std::string, std::shared_ptr<Stream>>;

  Stream& stream_of(const Client& client);
  Streams::iterator find(std::uint64_t connection);
  void forget_the_unconnected();
  static void add_target(Stream& stream, const PushTarget& target);

  mutable std::mutex mutex_;
  Streams streams_;
  std::uint64_t last_connection_ = 0;
  std::uint64_t registrations_ = 0;
  bool released_ = false;
};

}  // namespace devkit
