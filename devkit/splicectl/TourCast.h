#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devkit/broker/Broker.h"
#include "devkit/common/WatchedProcess.h"
#include "devkit/splicectl/TourStage.h"

namespace devkit {

/// The processes that play together in the tour's second half: the bus's broker, the server host
/// and the applications, each one a process, and all ended with this object.
class TourCast {
 public:
  using Application = std::unique_ptr<WatchedProcess>;

  /// Starts the broker. The stage's host has ended: where the broker is goes into the environment.
  explicit TourCast(TourStage& stage);
  TourCast(const TourCast&) = delete;
  TourCast& operator=(const TourCast&) = delete;
  ~TourCast();

  /// A user signs in, changes or signs out, by a process of the command line.
  void user(const std::vector<std::string>& arguments);
  /// Starts the server host; false if it doesn't come to serve.
  bool start_server();
  /// As a power cut would.
  void kill_server();
  std::uint64_t server_process() const { return server_ ? server_->id() : 0; }
  /// Null if it doesn't get ready.
  Application start_application(const std::string& name, const std::vector<std::string>& options);
  struct Asked {
    nlohmann::json answer;  ///< an object
    int code;
    std::uint64_t process;
  };
  /// Sends a request over the bus, by a process that has no cloud client.
  Asked ask(const std::string& service, const std::string& method, const std::string& message);

  /// Shows who announces what on the bus; true if there are a server and a client of pushes.
  bool show_listeners() const;
  /// Whether the server that runs now has registered each of the applications in the cloud.
  bool has_registered(const std::vector<std::string>& names) const;
  /// What the cloud's table says of a command; null if it isn't there.
  nlohmann::json command(const std::string& id) const;
  /// What the application tells next that is a push with that name, shown as it comes. Null if it
  /// doesn't come.
  nlohmann::json hears(const Application& application, const char* kind, const std::string& name);

 private:
  TourStage& stage_;
  const Broker broker_;
  std::unique_ptr<WatchedProcess> server_;
};

}  // namespace devkit
