#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "devkit/msgbus/Address.h"
#include "devkit/msgbus/Fields.h"
#include "devkit/msgbus/Listener.h"

namespace devkit::bus {

/// Something that a watcher saw on the bus.
struct Sighting {
  enum class Kind {
    connected,         ///< to the broker; who is there follows, then `caught_up`
    caught_up,         ///< all that was there has been told
    away,              ///< there is no broker, or no more; told once each time
    message,           ///< on `channel`, with `fields`
    request,           ///< a message whose sender waits; `correlation` pairs it with its reply
    reply,             ///< to the request of that `correlation`, with `fields`; `channel` is the
                       ///< request's, and empty if that wasn't seen
    process_here,      ///< a process has joined the bus
    process_left,      ///< it has taken its leave
    process_died,      ///< it is gone without having taken leave, or wasn't back within
                       ///< SPLICE_BUS_GRACE_MS (2000) after the broker was
    listener_added,    ///< `process` announces `listener`
    listener_removed,  ///< it doesn't any more; when a process goes these come first
  };

  Kind kind{};
  std::string channel;
  Fields fields;
  std::string correlation;
  /// Reply: since its request was seen, or null if that wasn't.
  std::optional<std::chrono::microseconds> elapsed;
  Listener listener;
  /// Of processes and listeners: the process's name on the bus, its number and program. Request:
  /// the name of the process that asks.
  std::string process;
  std::uint32_t process_id = 0;
  std::string program;
};

/// Looks at the whole bus, and is itself no part of it: nobody sees it. Survives a broker that is
/// away.
class Watch {
 public:
  using Seen = std::function<void(const Sighting&)>;

  /// A thread of its own calls `seen`, in order. A slow one delays the sightings but nobody else.
  Watch(const Address& broker, Seen seen);
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  /// Waits for a running call, so it must not end within one.
  ~Watch();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace devkit::bus
