#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "devkit/cloud/CommandTable.h"
#include "devkit/cloud/PushHub.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace devkit {

/// All of the development cloud that has to do with pushes: who may register, what is sent, and the
/// commands behind it. Any thread.
class PushDesk {
 public:
  PushDesk(const std::filesystem::path& commands_file, std::chrono::milliseconds beat);

  /// Sends one push, or an array of them in their order, and says for each how many streams got it
  /// ("streams") and a command's id ("command_id"). Throws std::invalid_argument if one of them
  /// makes no sense; then nothing is sent.
  nlohmann::json push(const nlohmann::json& request);
  /// Sends the text as it is, whatever it is, and gives how many streams got it.
  std::size_t push_text(const PushTarget& target, const std::string& text);

  /// Only these user tokens may register from now on; an empty set means every one but "".
  void accept_tokens(std::set<std::string> tokens);
  PushHub& streams() noexcept { return hub_; }
  const CommandTable& commands() const noexcept { return commands_; }

  // Requests of the client library.
  void serve_register(const httplib::Request& request, httplib::Response& response);
  void serve_stream(const httplib::Request& request, httplib::Response& response);
  /// The answer of the service "connect/commands".
  std::string answer(const std::string& body);
  void add_admin_routes(httplib::Server& server);

 private:
  bool is_accepted(const std::string& token) const;

  PushHub hub_;
  CommandTable commands_;
  const std::chrono::milliseconds beat_;
  mutable std::mutex tokens_mutex_;
  std::set<std::string> tokens_;
};

}  // namespace devkit
