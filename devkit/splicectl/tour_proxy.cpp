#include <atomic>
#include <thread>

#include "devkit/cloud/Proxy.h"
#include "devkit/splicectl/proxy_settings.h"
#include "devkit/splicectl/tour_chapters.h"

namespace devkit {

namespace {

using nlohmann::json;

/// Asks again and again from a thread beside the tour until it is stopped or destroyed.
class RequestStream {
 public:
  explicit RequestStream(TourStage& stage) : thread_([this, &stage] { run(stage); }) {}
  RequestStream(const RequestStream&) = delete;
  RequestStream& operator=(const RequestStream&) = delete;
  ~RequestStream() { stop(); }

  void stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  std::uint32_t succeeded() const noexcept { return succeeded_; }
  std::uint32_t failed() const noexcept { return failed_; }

 private:
  void run(TourStage& stage) {
    while (!stop_) {
      const Outcome outcome = stage.ask("connect/echo", "greet");
      ++(outcome.is_ok() && outcome.server_error == 0 ? succeeded_ : failed_);
    }
  }

  std::atomic<bool> stop_ = false;
  std::atomic<std::uint32_t> succeeded_ = 0;
  std::atomic<std::uint32_t> failed_ = 0;
  std::thread thread_;  ///< last: it uses all the others
};

/// Whether the last of the requests that came in anew was passed on by the proxy.
bool come_through(TourStage& stage, const std::string& port) {
  const json requests = stage.new_requests();
  return !requests.empty() && requests.back()["headers"].value("X-Splice-Proxy", "") == port;
}
bool come_directly(TourStage& stage) {
  const json requests = stage.new_requests();
  return !requests.empty() && !requests.back()["headers"].contains("X-Splice-Proxy");
}

}  // namespace

void show_proxy(TourStage& stage) {
  stage.step("The proxy changes while requests are under way.");
  const std::filesystem::path file = stage.folder().proxy_file();
  const Proxy proxy("someone", "secret");
  const std::string port = std::to_string(proxy.port());
  RequestStream stream(stage);
  stage.expect(TourStage::wait_for([&] { return come_directly(stage); }),
               "the requests come directly at first");

  stage.detail("proxy 127.0.0.1:" + port + ", with a user and a password");
  set_proxy(file, {"127.0.0.1", proxy.port(), "someone", "secret"});
  stage.expect(TourStage::wait_for([&] { return come_through(stage, port); }),
               "they come through the proxy");

  stage.detail("proxy off");
  set_no_proxy(file);
  stage.expect(TourStage::wait_for([&] { return come_directly(stage); }),
               "they come directly again");
  stream.stop();
  stage.new_requests();
  stage.detail(std::to_string(stream.succeeded()) + " requests succeeded, " +
               std::to_string(proxy.forwarded()) + " exchanges went through the proxy");
  stage.expect(stream.failed() == 0 && stream.succeeded() > 0, "none of them failed");
}

}  // namespace devkit
