#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "devkit/cloud/CloudAdmin.h"
#include "devkit/common/os.h"
#include "devkit/host/CloudUpObserver.h"
#include "devkit/host/Host.h"
#include "devkit/splicectl/TourFolder.h"

namespace devkit {

/// What the chapters of the tour play on: the narrator, who tells and checks, the cloud's process,
/// and a host with the module.
class TourStage {
 public:
  static constexpr std::chrono::seconds patience{20};
  static constexpr const char* indent = "     ";

  TourStage(const std::filesystem::path& module, bool is_terminal);

  void step(const char* title);
  void say(const std::string& text);
  /// Indented, as what belongs to a step is.
  void detail(const std::string& text);
  void expect(bool held, const std::string& what);
  int wrong() const noexcept { return wrong_; }
  bool is_terminal() const noexcept { return is_terminal_; }
  /// False if the condition didn't come true in all patience.
  static bool wait_for(const std::function<bool()>& condition);

  /// Before the host: it tells the environment where the cloud is.
  void start_cloud();
  /// On the port that it had.
  void restart_cloud();
  void stop_cloud();
  const std::string& address() const noexcept { return address_; }
  CloudAdmin admin() const { return CloudAdmin(address_); }
  /// The requests that came in since the last call.
  nlohmann::json new_requests();

  void start_host();
  void end_host();
  Host& host() { return *host_; }
  CloudUpObserver& observer() noexcept { return observer_; }
  const TourFolder& folder() const noexcept { return folder_; }

  Outcome ask(const std::string& service, const std::string& method, std::uint32_t timeout = 5000);
  /// What was sent since the last call, and what came of it.
  void show(const Outcome& outcome);

 private:
  void start_cloud_on(std::uint16_t port);

  const bool is_terminal_;
  int step_ = 0;
  int wrong_ = 0;
  const TourFolder folder_;
  std::optional<os::Process> cloud_;
  std::uint16_t port_ = 0;
  std::uint64_t seen_ = 0;
  std::string address_;
  CloudUpObserver observer_;
  std::optional<Host> host_;
};

}  // namespace devkit
