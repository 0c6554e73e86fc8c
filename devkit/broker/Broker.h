#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "devkit/common/os.h"
#include "devkit/msgbus/Address.h"

namespace devkit {

/// A Mosquitto broker of one's own on this machine, for as long as the object lives. Used by one
/// thread at a time.
class Broker {
 public:
  /// The broker's program: $SPLICE_MOSQUITTO, or the one in the folder of this code's library or
  /// program (Windows), or the system's (Linux).
  static std::filesystem::path program();

  /// Runs when this returns, on `port` or, without one, on a free one that it finds. Throws
  /// std::runtime_error, with what the broker said, if it can't be had.
  explicit Broker(std::optional<std::uint16_t> port = std::nullopt);
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;
  ~Broker();

  std::uint16_t port() const noexcept { return port_; }
  bus::Address address() const { return {"127.0.0.1", port_}; }
  /// For SPLICE_BROKER.
  std::string text() const { return address().text(); }

  /// False once it has ended, by `kill` or by itself.
  bool is_running() const;
  /// The last line of what it said; empty without one.
  std::string last_words() const;

  /// Ends it as a power cut would; nothing is kept. Repeating it is harmless.
  void kill();
  /// Runs again, on the same port. Harmless while it runs. Throws std::runtime_error if it can't,
  /// above all because somebody else has the port. Under Wine that may be the dead: once in some
  /// hundred times its server keeps the sockets of a killed process open.
  void start();

 private:
  class Run;

  const std::filesystem::path folder_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Run> run_;
};

}  // namespace devkit
