#include "devkit/msgbus/Watch.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <utility>

#include "devkit/common/Pending.h"
#include "devkit/common/os.h"
#include "devkit/msgbus/MqttClient.h"
#include "devkit/msgbus/PresenceNote.h"
#include "devkit/msgbus/environment_number.h"
#include "devkit/msgbus/message_json.h"
#include "devkit/msgbus/topics.h"

namespace devkit::bus {

namespace {

using Clock = std::chrono::steady_clock;
using Kind = Sighting::Kind;

constexpr std::chrono::milliseconds usual_tick{1000};
constexpr const char* sync = "sync";

std::string watcher_name() {
  std::random_device random;
  return "watch-" + std::to_string(os::process_id()) + "-" +
         std::to_string((std::uint64_t{random()} << 32) | random());
}

}  // namespace

/// All of it on the thread that takes the client's turns.
class Watch::Impl final : private MqttHandler {
 public:
  Impl(const Address& broker, Seen seen)
      : name_(watcher_name()), seen_(std::move(seen)), client_(broker, name_, {}, *this) {
    thread_ = std::thread([this] {
      while (client_.take_turn()) continue;
    });
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    client_.leave();
    thread_.join();
  }

 private:
  struct Request {
    std::string channel;
    Clock::time_point seen_at;
  };

  void on_connected() override {
    is_away_ = false;
    for (const auto& [process, note] : processes_) doubtful_.insert(process);
    tell(Kind::connected);
    for (const char* const topic : {all_presences, all_channels, all_replies})
      last_subscription_ = client_.subscribe(topic);
  }

  void on_away() override {
    if (!is_away_.value_or(false)) tell(Kind::away);
    is_away_ = true;
    grace_end_.reset();
  }

  void on_subscribed(int number) override {
    // What the broker had kept comes before the answer to this.
    if (number == last_subscription_) client_.publish({reply_topic(name_), {}, {}, sync, false});
  }

  void on_published(int) override {}

  void on_message(Publication message) override {
    if (message.topic == reply_topic(name_)) {
      catch_up();
    } else if (const auto process = topic_present(message.topic)) {
      see_presence(*process, message.payload);
    } else if (const auto channel = topic_channel(message.topic)) {
      see_message(*channel, message);
    } else if (const auto asker = topic_replied(message.topic)) {
      see_reply(*asker, message);
    }
  }

  std::chrono::milliseconds on_tick() override {
    if (!grace_end_) return usual_tick;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(*grace_end_ - Clock::now());
    if (left.count() > 0) return std::min(left, usual_tick);
    grace_end_.reset();
    for (const std::string& process : std::exchange(doubtful_, {})) forget(process);
    return usual_tick;
  }

  void catch_up() {
    // Those who aren't back may be only late.
    grace_end_ = Clock::now() + grace_;
    tell(Kind::caught_up);
  }

  void see_message(const std::string& channel, const Publication& message) {
    std::optional<Fields> fields = from_json(message.payload);
    if (!fields) return;
    Sighting sighting;
    sighting.kind = Kind::message;
    sighting.channel = channel;
    sighting.fields = *std::move(fields);
    if (const auto asker = topic_replied(message.response_topic)) {
      sighting.kind = Kind::request;
      sighting.process = *asker;
      describe(sighting);
      // Each process numbers its requests for itself.
      sighting.correlation = *asker + "/" + message.correlation;
      requests_.put(sighting.correlation, {channel, Clock::now()});
    }
    seen_(sighting);
  }

  void see_reply(const std::string& asker, const Publication& message) {
    std::optional<Fields> fields = from_json(message.payload);
    if (!fields) return;
    Sighting sighting;
    sighting.kind = Kind::reply;
    sighting.fields = *std::move(fields);
    sighting.process = asker;
    describe(sighting);
    sighting.correlation = asker + "/" + message.correlation;
    if (const auto request = requests_.take(sighting.correlation)) {
      sighting.channel = request->channel;
      sighting.elapsed =
          std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - request->seen_at);
    }
    seen_(sighting);
  }

  void see_presence(const std::string& process, const std::string& payload) {
    if (payload.empty()) return forget(process);
    std::optional<PresenceNote> note = PresenceNote::parse(payload);
    if (!note) return;
    doubtful_.erase(process);
    const bool is_new = processes_.count(process) == 0;
    PresenceNote before = std::exchange(processes_[process], *note);
    if (is_new) {
      Sighting sighting;
      sighting.kind = Kind::process_here;
      sighting.process = process;
      describe(sighting);
      seen_(sighting);
    }
    tell_difference(process, Kind::listener_removed, before.listeners, note->listeners);
    tell_difference(process, Kind::listener_added, note->listeners, before.listeners);
  }

  void forget(const std::string& process) {
    doubtful_.erase(process);
    const auto known = processes_.find(process);
    if (known == processes_.end()) return;
    tell_difference(process, Kind::listener_removed, known->second.listeners, {});
    Sighting sighting;
    sighting.kind = known->second.leaving ? Kind::process_left : Kind::process_died;
    sighting.process = process;
    describe(sighting);
    processes_.erase(known);
    seen_(sighting);
  }

  void tell_difference(const std::string& process, Kind kind, const std::vector<Listener>& from,
                       const std::vector<Listener>& without) {
    std::multiset<Listener> left(without.begin(), without.end());
    for (const Listener& listener : from) {
      if (const auto same = left.find(listener); same != left.end()) {
        left.erase(same);
        continue;
      }
      Sighting sighting;
      sighting.kind = kind;
      sighting.channel = listener.channel;
      sighting.listener = listener;
      sighting.process = process;
      describe(sighting);
      seen_(sighting);
    }
  }

  void tell(Kind kind) {
    Sighting sighting;
    sighting.kind = kind;
    seen_(sighting);
  }

  void describe(Sighting& sighting) const {
    const auto known = processes_.find(sighting.process);
    if (known == processes_.end()) return;
    sighting.process_id = known->second.process_id;
    sighting.program = known->second.program;
  }

  const std::string name_;
  const Seen seen_;
  const std::chrono::milliseconds grace_ = grace_from_environment();
  std::optional<bool> is_away_;
  int last_subscription_ = 0;
  std::map<std::string, PresenceNote> processes_;
  std::set<std::string> doubtful_;              ///< known before the broker went away
  std::optional<Clock::time_point> grace_end_;  ///< of those
  Pending<Request> requests_;
  MqttClient client_;
  std::thread thread_;
};

Watch::Watch(const Address& broker, Seen seen)
    : impl_(std::make_unique<Impl>(broker, std::move(seen))) {}

Watch::~Watch() = default;

}  // namespace devkit::bus
