#include "devkit/cloud/PushHub.h"

#include <algorithm>

namespace devkit {

namespace {

using nlohmann::json;

/// Fewer than the server's threads, so that some are left for requests.
constexpr std::size_t most_connections = 48;
constexpr auto patience = std::chrono::seconds(10);
/// Bytes written in one go, give or take a push.
constexpr std::size_t batch_size = 64 * 1024;

json to_json(const PushTarget& target) {
  return {{"app_id", target.app_id}, {"device_id", target.device_id}};
}

std::string frame(const PushTarget& target, const std::string& text) {
  return "push " + std::to_string(text.size()) + " " +
         to_json(target).dump(-1, ' ', true, json::error_handler_t::replace) + "\n" + text;
}

bool fits(const PushTarget& wanted, const PushTarget& registered) {
  return (wanted.app_id.empty() || wanted.app_id == registered.app_id) &&
         (wanted.device_id.empty() || wanted.device_id == registered.device_id);
}

}  // namespace

void PushHub::add(const Client& client, const PushTarget& target) {
  const std::lock_guard guard(mutex_);
  forget_the_unconnected();
  ++registrations_;
  Stream& stream = stream_of(client);
  if (stream.connection == 0) stream.made = clock::now();
  add_target(stream, target);
}

std::optional<std::uint64_t> PushHub::attach(const Client& client,
                                             const std::vector<PushTarget>& targets) {
  const std::lock_guard guard(mutex_);
  forget_the_unconnected();
  const auto connected = std::count_if(streams_.begin(), streams_.end(), [&](const auto& entry) {
    return entry.second->connection != 0 && entry.first != client.stream;
  });
  if (released_ || static_cast<std::size_t>(connected) >= most_connections) return std::nullopt;
  Stream& stream = stream_of(client);
  for (const PushTarget& target : targets) add_target(stream, target);
  stream.connection = ++last_connection_;
  stream.changed.notify_all();
  return stream.connection;
}

void PushHub::detach(std::uint64_t connection) {
  const std::lock_guard guard(mutex_);
  const auto found = find(connection);
  if (found != streams_.end()) streams_.erase(found);
}

std::optional<std::string> PushHub::next(std::uint64_t connection, std::chrono::milliseconds beat) {
  std::unique_lock lock(mutex_);
  const auto found = find(connection);
  if (found == streams_.end()) return std::nullopt;
  const std::shared_ptr<Stream> stream = found->second;
  const auto is_over = [&] { return released_ || stream->connection != connection; };
  stream->changed.wait_for(lock, beat, [&] { return is_over() || !stream->waiting.empty(); });
  if (is_over()) return std::nullopt;
  if (stream->waiting.empty()) return "beat\n";

  std::string batch;
  while (!stream->waiting.empty() && batch.size() < batch_size) {
    batch += stream->waiting.front();
    stream->waiting.pop_front();
    ++stream->sent;
  }
  return batch;
}

std::size_t PushHub::send(const PushTarget& target,
                          const std::function<std::string(const PushTarget&)>& make_text) {
  const std::lock_guard guard(mutex_);
  forget_the_unconnected();
  std::size_t count = 0;
  for (const auto& [name, stream] : streams_) {
    const auto found =
        std::find_if(stream->targets.rbegin(), stream->targets.rend(),
                     [&](const PushTarget& registered) { return fits(target, registered); });
    if (found == stream->targets.rend()) continue;
    stream->waiting.push_back(
        frame(target.app_id.empty() ? PushTarget() : *found, make_text(*found)));
    stream->changed.notify_all();
    ++count;
  }
  return count;
}

json PushHub::list() const {
  const std::lock_guard guard(mutex_);
  json list = json::array();
  for (const auto& [name, stream] : streams_) {
    json targets = json::array();
    for (const PushTarget& target : stream->targets) targets.push_back(to_json(target));
    list.push_back({{"stream", name},
                    {"process", stream->client.process},
                    {"connected", stream->connection != 0},
                    {"connection", stream->connection},
                    {"registrations", targets},
                    {"waiting", stream->waiting.size()},
                    {"sent", stream->sent}});
  }
  return list;
}

std::uint64_t PushHub::registrations() const {
  const std::lock_guard guard(mutex_);
  return registrations_;
}

std::size_t PushHub::break_all() {
  const std::lock_guard guard(mutex_);
  std::size_t count = 0;
  for (const auto& [name, stream] : streams_) {
    if (stream->connection != 0) ++count;
    stream->connection = 0;
    stream->changed.notify_all();
  }
  streams_.clear();
  return count;
}

void PushHub::release() {
  const std::lock_guard guard(mutex_);
  released_ = true;
  for (const auto& [name, stream] : streams_) stream->changed.notify_all();
}

PushHub::Stream& PushHub::stream_of(const Client& client) {
  std::shared_ptr<Stream>& stream = streams_[client.stream];
  if (!stream) stream = std::make_shared<Stream>();
  stream->client = client;
  return *stream;
}

PushHub::Streams::iterator PushHub::find(std::uint64_t connection) {
  return std::find_if(streams_.begin(), streams_.end(),
                      [&](const auto& entry) { return entry.second->connection == connection; });
}

void PushHub::forget_the_unconnected() {
  const auto now = clock::now();
  std::erase_if(streams_, [&](const auto& entry) {
    return entry.second->connection == 0 && now - entry.second->made > patience;
  });
}

void PushHub::add_target(Stream& stream, const PushTarget& target) {
  std::erase(stream.targets, target);
  stream.targets.push_back(target);
}

}  // namespace devkit
