#include "devkit/zvnc/PushStream.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <nlohmann/json.hpp>
#include <random>

#include "devkit/common/os.h"
#include "devkit/zvnc/PushFrames.h"
#include "devkit/zvnc/status.h"

namespace zvnc {

namespace {

using nlohmann::json;

constexpr std::uint32_t register_timeout_milliseconds = 20000;
constexpr std::uint32_t longest_pause_milliseconds = 2000;

/// Processes and instances all have streams of their own.
std::string new_name() {
  std::random_device random;
  return std::to_string(devkit::os::process_id()) + "-" + std::to_string(random()) + "-" +
         std::to_string(random());
}

std::string written(const json& value) {
  return value.dump(-1, ' ', true, json::error_handler_t::replace);
}

json to_json(const PushRegistrations::Registration& one) {
  return {{"token", one.token}, {"app_id", one.target.app_id}, {"device_id", one.target.device_id}};
}

}  // namespace

PushStream::PushStream(std::function<Route()> route, const PushDefaults& defaults)
    : route_(std::move(route)), defaults_(defaults), name_(new_name()) {}

PushStream::~PushStream() {
  stop();
}

std::uint32_t PushStream::add(const PushTarget& target, const cirrel_push_callbacks& callbacks,
                              const std::string& token, Cancellation& cancellation) {
  // Before the server is asked: a stream that is made meanwhile takes it along, or finds it missing
  // once it stands. So it isn't lost to a server that starts again in between.
  const std::uint64_t number = registrations_.add(target, callbacks, token);
  std::uint32_t result = status::cancelled;
  try {
    result = register_one(route_(), {target, callbacks, token, number}, cancellation);
    if (result == status::ok && !start()) result = status::cancelled;
  } catch (...) {
    registrations_.take_back(number);
    throw;
  }
  if (result == status::ok) {
    registrations_.confirm(number);
  } else {
    registrations_.take_back(number);
  }
  return result;
}

void PushStream::check_route() {
  const Route route = route_();
  const std::lock_guard guard(mutex_);
  if (dispatcher_ == nullptr || route == current_route_) return;
  hurries_ = true;
  if (connection_ != nullptr) connection_->cancel();
  changed_.notify_all();
}

bool PushStream::is_own_thread() const {
  const std::lock_guard guard(mutex_);
  return dispatcher_ != nullptr && dispatcher_->is_own_thread();
}

void PushStream::stop() {
  {
    const std::lock_guard guard(mutex_);
    stopped_ = true;
    if (connection_ != nullptr) connection_->cancel();
    // The stream's thread may be waiting for room in there.
    if (dispatcher_ != nullptr) dispatcher_->refuse();
    changed_.notify_all();
  }
  const std::lock_guard guard(join_mutex_);
  if (thread_.joinable()) thread_.join();
  // Nobody makes or replaces it any more.
  if (dispatcher_ != nullptr) dispatcher_->stop();
}

bool PushStream::start() {
  const std::lock_guard guard(mutex_);
  if (stopped_) return false;
  if (dispatcher_ != nullptr) return true;
  dispatcher_ = std::make_unique<PushDispatcher>(registrations_, defaults_.threads);
  thread_ = std::thread([this] { run(); });
  return true;
}

void PushStream::run() {
  std::uint32_t pause = defaults_.retry_milliseconds;
  std::unique_lock lock(mutex_);
  while (!stopped_) {
    lock.unlock();
    bool stood = false;
    try {
      stood = stream_once();
    } catch (const std::exception&) {
      // No memory: as good a reason for a pause as a server that is away.
    }
    lock.lock();
    connection_ = nullptr;
    if (stood) pause = defaults_.retry_milliseconds;
    changed_.wait_for(lock, std::chrono::milliseconds(pause), [&] { return stopped_ || hurries_; });
    hurries_ = false;
    pause = std::min(pause * 2, std::max(longest_pause_milliseconds, defaults_.retry_milliseconds));
  }
}

bool PushStream::stream_once() {
  const Route route = route_();
  const auto connection = std::make_shared<Cancellation>();
  {
    const std::lock_guard guard(mutex_);
    if (stopped_) return false;
    current_route_ = route;
    connection_ = connection;
  }
  // Options that were set between the two looks at the route.
  check_route();

  const auto registrations = registrations_.list();
  const std::uint64_t last = registrations.empty() ? 0 : registrations.back().number;
  json body = {
      {"stream", name_}, {"process", devkit::os::process_id()}, {"registrations", json::array()}};
  for (const auto& one : registrations) body["registrations"].push_back(to_json(one));
  const std::string text = written(body);

  bool stands = false;
  PushFrames frames;
  frames.on_hello = [&] {
    stands = true;
    return register_late_ones(last, *connection);
  };
  frames.on_push = [&](const PushTarget& target, std::string push) {
    return dispatcher_->offer(target, std::move(push));
  };
  Transfer transfer(route, "/push/stream", 0);
  transfer.post(text);
  transfer.receive([&](std::string_view bytes) { return frames.take(bytes); },
                   defaults_.silence_milliseconds);
  transfer.run(*connection);
  return stands;
}

bool PushStream::register_late_ones(std::uint64_t last, Cancellation& cancellation) {
  for (const auto& one : registrations_.list(last)) {
    const std::uint32_t result = register_one(current_route_, one, cancellation);
    // Whoever is registering it hears of a refusal as well.
    if (result != status::ok && result != status::refused) return false;
  }
  return true;
}

std::uint32_t PushStream::register_one(const Route& route,
                                       const PushRegistrations::Registration& one,
                                       Cancellation& cancellation) const {
  json body = to_json(one);
  body["stream"] = name_;
  body["process"] = devkit::os::process_id();
  const std::string text = written(body);
  Transfer transfer(route, "/push/register", register_timeout_milliseconds);
  transfer.post(text);
  const std::uint32_t result = transfer.run(cancellation);
  if (result != status::ok) return result;
  const json answer = json::parse(transfer.answer(), nullptr, false);
  const bool is_done = answer.is_object() && answer.value("registered", json()) == json(true);
  return is_done ? status::ok : status::unexpected_answer;
}

}  // namespace zvnc
