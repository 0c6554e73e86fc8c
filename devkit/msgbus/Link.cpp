#include "devkit/msgbus/Link.h"

#include <algorithm>
#include <random>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/msgbus/PresenceNote.h"
#include "devkit/msgbus/message_json.h"
#include "devkit/msgbus/topics.h"

namespace devkit::bus {

namespace {

constexpr std::uint32_t timed_out = 1460;
constexpr std::uint32_t not_connected = 2250;
/// How long a broker that took our connection may take to acknowledge.
constexpr std::chrono::seconds broker_time{5};
/// How long a request waits for a broker that is away.
constexpr std::chrono::seconds absence_time{2};
constexpr std::chrono::seconds farewell_time{1};
constexpr std::chrono::milliseconds usual_tick{1000};
/// The correlation of what the process sends itself to see that all before it has arrived.
constexpr const char* sync = "sync";

/// Two clients of one name would throw each other out, so the process's number isn't enough: it may
/// be that of another machine's, or of one that the broker still holds for alive.
std::string unique_name() {
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return std::to_string(os::process_id()) + "-" + std::to_string(number);
}

}  // namespace

Link::Link(Address broker, std::chrono::milliseconds grace)
    : name_(unique_name()),
      reply_topic_(reply_topic(name_)),
      presence_topic_(presence_topic(name_)),
      grace_(grace),
      client_(std::move(broker), name_, presence_topic_, *this),
      outbox_(client_) {
  topics_[reply_topic_];
  topics_[all_presences];
}

void Link::leave() {
  {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, farewell_time,
                      [this] { return outbox_.is_empty() || state_ == State::away; });
    take_leave(lock);
  }
  client_.leave();
}

/// Returns when the broker knows: the connection's end, which overtakes what is still on its way,
/// would look like our death.
void Link::take_leave(std::unique_lock<std::mutex>& lock) {
  PresenceNote note;
  note.process_id = os::process_id();
  note.program = path_text(os::program().filename());
  note.leaving = true;
  announcement_due_ = false;  // it would take the farewell back
  farewell_ = client_.publish({presence_topic_, note.text(), {}, {}, true});
  changed_.wait_for(lock, farewell_time, [this] { return farewell_ == 0; });
}

// --- subscriptions

void Link::subscribe_at_broker(const std::string& name, Topic& topic) {
  topic.number = client_.subscribe(name);
  if (topic.number != 0) unacknowledged_.insert(topic.number);
}

bool Link::subscribe(const std::string& channel, ChannelSink* sink) {
  const std::optional<std::string> name = channel_topic(channel);
  if (!name) return false;
  std::unique_lock lock(mutex_);
  Topic& topic = topics_[*name];
  topic.sinks.push_back(sink);
  const bool is_connected = state_ != State::connecting && state_ != State::away;
  if (is_connected && topic.sinks.size() == 1) subscribe_at_broker(*name, topic);
  changed_.wait_for(lock, broker_time, [&] {
    if (state_ == State::away) return true;
    const auto found = topics_.find(*name);
    return state_ != State::connecting && (found == topics_.end() || found->second.number == 0);
  });
  return true;
}

void Link::unsubscribe(const std::string& channel, ChannelSink* sink) {
  const std::optional<std::string> name = channel_topic(channel);
  const std::lock_guard guard(mutex_);
  const auto topic = name ? topics_.find(*name) : topics_.end();
  if (topic == topics_.end()) return;
  std::erase(topic->second.sinks, sink);
  if (!topic->second.sinks.empty()) return;
  topics_.erase(topic);
  client_.unsubscribe(*name);
}

void Link::on_connected() {
  const std::lock_guard guard(mutex_);
  state_ = State::subscribing;
  announcement_due_ = true;
  for (auto& [name, topic] : topics_) subscribe_at_broker(name, topic);
}

void Link::on_subscribed(int number) {
  const std::lock_guard guard(mutex_);
  unacknowledged_.erase(number);
  for (auto& [name, topic] : topics_) {
    if (topic.number == number) topic.number = 0;
  }
  if (unacknowledged_.empty()) {
    // In this order: whoever sees a listener can reach it.
    if (announcement_due_) announce();
    if (state_ == State::subscribing) {
      state_ = State::catching_up;
      client_.publish({reply_topic_, {}, {}, sync, false});
    }
  }
  changed_.notify_all();
}

void Link::on_away() {
  const std::lock_guard guard(mutex_);
  state_ = State::away;
  unacknowledged_.clear();
  for (auto& [name, topic] : topics_) topic.number = 0;
  peers_.doubt_all();
  grace_end_.reset();
  farewell_ = 0;
  outbox_.on_away();
  changed_.notify_all();
}

// --- messages

void Link::send(const std::string& channel, const Fields& fields) {
  std::optional<std::string> topic = channel_topic(channel);
  if (!topic) return;
  Publication publication{*std::move(topic), to_json(fields), {}, {}, false};
  const std::lock_guard guard(mutex_);
  outbox_.add(std::move(publication));
}

std::uint32_t Link::request(const std::string& channel, const Fields& fields,
                            std::chrono::milliseconds timeout, Fields& reply) {
  const auto start = std::chrono::steady_clock::now();
  std::optional<std::string> topic = channel_topic(channel);
  if (!topic) return not_connected;
  Publication publication{*std::move(topic), to_json(fields), reply_topic_, {}, false};

  std::unique_lock lock(mutex_);
  const std::string correlation = std::to_string(next_correlation_++);
  publication.correlation = correlation;
  Waiting waiting;
  waiting_.emplace(correlation, &waiting);
  outbox_.add(std::move(publication));

  const auto answered = [&] { return waiting.reply.has_value(); };
  std::uint32_t failure = timed_out;
  waiting.signal.wait_until(
      lock, start + std::min<std::chrono::milliseconds>(timeout, absence_time), answered);
  if (!answered() && state_ == State::away) {
    failure = not_connected;
  } else {
    waiting.signal.wait_until(lock, start + timeout, answered);
  }
  waiting_.erase(correlation);
  if (!answered()) {
    outbox_.withdraw(correlation);
    return failure;
  }
  reply = *std::move(waiting.reply);
  return 0;
}

void Link::reply(const ReplyAddress& to, const Fields& fields) {
  if (to.topic.empty()) return;
  Publication publication{to.topic, to_json(fields), {}, to.correlation, false};
  const std::lock_guard guard(mutex_);
  outbox_.add(std::move(publication));
}

void Link::on_published(int number) {
  const std::lock_guard guard(mutex_);
  outbox_.on_published(number);
  const bool is_farewell = number == farewell_;
  if (is_farewell) farewell_ = 0;
  if (is_farewell || outbox_.is_empty()) changed_.notify_all();
}

void Link::on_message(Publication message) {
  if (message.topic == reply_topic_ && message.correlation == sync) {
    const std::lock_guard guard(mutex_);
    return take_sync();
  }
  if (const std::optional<std::string> process = topic_present(message.topic)) {
    const std::lock_guard guard(mutex_);
    return take_presence(*process, message.payload);
  }
  // Others may publish at the broker what is no message at all.
  std::optional<Fields> fields = from_json(message.payload);
  if (!fields) return;
  const std::lock_guard guard(mutex_);
  if (message.topic == reply_topic_) return take_reply(message.correlation, *std::move(fields));
  const auto topic = topics_.find(message.topic);
  if (topic == topics_.end()) return;
  const Arrived arrived{std::make_shared<const Fields>(*std::move(fields)),
                        {std::move(message.response_topic), std::move(message.correlation)}};
  for (ChannelSink* const sink : topic->second.sinks) sink->arrived(arrived);
}

/// A second reply, or a late one, finds nobody.
void Link::take_reply(const std::string& correlation, Fields fields) {
  const auto waiting = waiting_.find(correlation);
  if (waiting == waiting_.end() || waiting->second->reply) return;
  waiting->second->reply = std::move(fields);
  waiting->second->signal.notify_one();
}

// --- listeners

void Link::announce() {
  announcement_due_ = false;
  PresenceNote note;
  note.process_id = os::process_id();
  note.program = path_text(os::program().filename());
  note.listeners = listeners_;
  client_.publish({presence_topic_, note.text(), {}, {}, true});
}

void Link::add_listener(const Listener& listener) {
  const std::lock_guard guard(mutex_);
  listeners_.push_back(listener);
  if (state_ == State::connecting || state_ == State::away || !unacknowledged_.empty()) {
    announcement_due_ = true;
  } else {
    announce();
  }
}

void Link::remove_listener(const Listener& listener) {
  const std::lock_guard guard(mutex_);
  const auto found = std::find(listeners_.begin(), listeners_.end(), listener);
  if (found == listeners_.end()) return;
  listeners_.erase(found);
  if (state_ == State::connecting || state_ == State::away || !unacknowledged_.empty()) {
    announcement_due_ = true;
  } else {
    announce();
  }
}

bool Link::is_listening(const Listener& listener) {
  std::unique_lock lock(mutex_);
  wait_until_known(lock);
  return std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end() ||
         peers_.is_listening(listener, name_);
}

void Link::observe(ListenerSink* sink) {
  std::unique_lock lock(mutex_);
  // Otherwise the observer would take those for new that are there already.
  wait_until_known(lock);
  observers_.push_back(sink);
}

void Link::stop_observing(ListenerSink* sink) {
  const std::lock_guard guard(mutex_);
  std::erase(observers_, sink);
}

void Link::take_presence(const std::string& process, const std::string& payload) {
  const std::optional<PresenceNote> note = PresenceNote::parse(payload);
  if (!note && !payload.empty()) return;
  tell(peers_.update(process, note));
  // Somebody's mistake, since we are here.
  if (process == name_ && !note && state_ == State::joined) announce();
  settle();
}

void Link::take_sync() {
  if (state_ != State::catching_up) return;
  state_ = State::joined;
  grace_end_ = std::chrono::steady_clock::now() + grace_;
  settle();
  changed_.notify_all();
}

void Link::tell(const Peers::Changes& changes) {
  for (const ListenerChange& change : changes) {
    for (ListenerSink* const sink : observers_) sink->changed(change);
  }
}

/// Sends what waited once everyone is back who was there before.
void Link::settle() {
  if (state_ == State::joined && !peers_.has_doubts()) {
    grace_end_.reset();
    outbox_.open(true);
  }
}

std::chrono::milliseconds Link::on_tick() {
  const std::lock_guard guard(mutex_);
  if (!grace_end_) return usual_tick;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      *grace_end_ - std::chrono::steady_clock::now());
  if (left.count() > 0) return std::min(left, usual_tick);
  tell(peers_.drop_doubtful());
  settle();
  return usual_tick;
}

void Link::wait_until_known(std::unique_lock<std::mutex>& lock) {
  changed_.wait_for(lock, broker_time,
                    [this] { return state_ == State::joined || state_ == State::away; });
}

}  // namespace devkit::bus
