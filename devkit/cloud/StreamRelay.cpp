#include "devkit/cloud/StreamRelay.h"

#include <httplib.h>

#include <utility>

namespace devkit {

StreamRelay::StreamRelay(const std::string& server, httplib::Request request)
    : client_(std::make_unique<httplib::Client>(server)) {
  request.response_handler = [this](const httplib::Response& response) {
    const std::lock_guard guard(mutex_);
    status_ = response.status;
    changed_.notify_all();
    return true;
  };
  request.content_receiver = [this](const char* data, std::size_t size, std::uint64_t,
                                    std::uint64_t) {
    const std::lock_guard guard(mutex_);
    bytes_.append(data, size);
    changed_.notify_all();
    return !hung_up_;
  };
  thread_ = std::thread([this, request = std::move(request)] {
    client_->send(request);
    const std::lock_guard guard(mutex_);
    ended_ = true;
    changed_.notify_all();
  });
}

StreamRelay::~StreamRelay() {
  {
    const std::lock_guard guard(mutex_);
    hung_up_ = true;
  }
  client_->stop();
  thread_.join();
}

std::optional<int> StreamRelay::status() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return status_ || ended_; });
  return status_;
}

std::optional<std::string> StreamRelay::next(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return ended_ || !bytes_.empty(); });
  if (ended_ && bytes_.empty()) return std::nullopt;
  return std::exchange(bytes_, std::string());
}

}  // namespace devkit
