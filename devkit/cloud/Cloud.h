#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "devkit/cloud/Fault.h"
#include "devkit/cloud/PushDesk.h"

namespace httplib {
class ContentReader;
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace devkit {

// clang-format off
/// A development cloud in this process, on 127.0.0.1.
///
///   POST /services/<service>                 a request; the body is a call in the form of
///                                            JSON-RPC, or anything
///   POST /upload/<service>                   a file; answers {"bytes": n, "crc32": "..."}
///   GET /health                              the heartbeat
///   POST /push/register                      registers an application for pushes
///   POST /push/stream                        the stream of a client's pushes; the answer ends with
///                                            the connection
///   PUT, GET, DELETE /admin/faults           sets one, lists all, clears all; with ?service= and
///                                            &method= clears only those set for exactly these
///   GET /admin/requests?after=<number>       what came in after that number, oldest first
///   GET /admin/info                          the process, and how many requests and registrations
///                                            there were so far
///   POST /admin/push                         sends a push, or an array of them (push_request.h)
///   POST /admin/push/text?app_id=&device_id= sends the body as it is
///   GET /admin/commands                      the table of commands
///   GET, DELETE /admin/streams               lists the push streams, ends them all
///   PUT /admin/tokens                        an array of the user tokens that may register; empty:
///                                            every one but ""
// clang-format on
class Cloud {
 public:
  struct Options {
    std::uint16_t port = 0;  ///< 0: any free one
    std::filesystem::path
        certificate{};                 ///< not empty: serves https with a certificate made anew
                                       ///< for each start, and writes it here for clients to trust
    std::filesystem::path commands{};  ///< the database that keeps the commands; empty: in memory
    std::uint32_t beat_milliseconds = 500;  ///< the longest silence on a push stream
  };

  /// Serves from here on. Throws std::runtime_error with a sentence for people if it can't.
  explicit Cloud(const Options& options);
  Cloud(const Cloud&) = delete;
  Cloud& operator=(const Cloud&) = delete;
  /// Ends stalls and closes the port.
  ~Cloud();

  std::uint16_t port() const noexcept { return port_; }
  /// "http://127.0.0.1:port", or with https.
  const std::string& address() const noexcept { return address_; }
  FaultTable& faults() noexcept { return faults_; }
  PushDesk& pushes() noexcept { return pushes_; }
  /// As the admin endpoint tells them.
  nlohmann::json requests(std::uint64_t after = 0) const;

 private:
  void add_routes();
  void serve_request(const httplib::Request& request, httplib::Response& response);
  void serve_upload(const httplib::Request& request, httplib::Response& response,
                    const httplib::ContentReader& reader);
  void serve_admin();
  /// True if the fault has made the answer; false if the right one is still due.
  bool apply(const TakenFault& fault, const std::string& body, httplib::Response& response);
  void remember(nlohmann::json entry, const httplib::Request& request);

  FaultTable faults_;
  PushDesk pushes_;
  std::unique_ptr<httplib::Server> server_;
  std::uint16_t port_ = 0;
  std::string address_;
  std::thread thread_;

  mutable std::mutex requests_mutex_;
  std::deque<nlohmann::json> requests_;
  std::uint64_t request_count_ = 0;
};

}  // namespace devkit
