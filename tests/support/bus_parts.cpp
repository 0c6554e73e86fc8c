#include "support/bus_parts.h"

#include <algorithm>
#include <chrono>

namespace support::bus_parts {
namespace {

constexpr std::uint32_t wait_timeout = 258;

/// One copy of a message, from its making to the end of its callback or its being dropped.
class Copy {
 public:
  Copy(State& state, Message* message, std::shared_ptr<Exchange> exchange)
      : state_(state), message_(message), exchange_(std::move(exchange)) {}
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;
  ~Copy() {
    message_->Release();
    const std::lock_guard lock(state_.mutex);
    --exchange_->copies;
    exchange_->changed.notify_all();
  }

  Message* message() const noexcept { return message_; }

 private:
  State& state_;
  Message* const message_;
  const std::shared_ptr<Exchange> exchange_;
};

/// Counts something that is on its way to another thread.
class Journey {
 public:
  explicit Journey(State& state) : state_(state) {
    const std::lock_guard lock(state_.mutex);
    ++state_.on_the_way;
  }
  Journey(const Journey&) = delete;
  Journey& operator=(const Journey&) = delete;
  ~Journey() {
    const std::lock_guard lock(state_.mutex);
    --state_.on_the_way;
    state_.arrived.notify_all();
  }

 private:
  State& state_;
};

}  // namespace

void State::record(const std::string& call) {
  std::function<void(const std::string&)> run;
  {
    const std::lock_guard lock(mutex);
    calls.push_back(call);
    run = hook;
  }
  if (run) run(call);
}

void State::mistake(const std::string& what) {
  const std::lock_guard lock(mutex);
  mistakes.push_back(what);
}

Message* State::make_message(const std::string& channel, const std::shared_ptr<Exchange>& exchange,
                             const BusFields& fields) {
  messages.push_back(std::make_unique<Message>(*this, channel, exchange));
  Message* const message = messages.back().get();
  for (const BusField& field : fields) message->write(field);
  return message;
}

void State::spread(const std::string& channel, const BusFields& fields,
                   const std::shared_ptr<Exchange>& exchange, bool on_this_thread) {
  std::vector<std::pair<std::shared_ptr<Subscription>, std::shared_ptr<Copy>>> arrivals;
  bool at_once = false;
  {
    const std::lock_guard lock(mutex);
    at_once = overlaps;
    for (const auto& subscription : subscriptions) {
      if (subscription->ended || subscription->channel()->name() != channel) continue;
      Message* const message = make_message(channel, exchange, fields);
      ++exchange->copies;
      arrivals.emplace_back(subscription, std::make_shared<Copy>(*this, message, exchange));
    }
  }
  for (auto& [subscription, copy] : arrivals) {
    const auto arrive = [to = subscription.get(), copy = copy] { to->arrive(copy->message()); };
    if (on_this_thread && at_once) {
      arrive();
    } else if (on_this_thread) {
      subscription->receiver.run(arrive);
    } else {
      // Ends last: whoever waits for the journey's end may count messages.
      subscription->receiver.post(
          [journey = std::make_shared<Journey>(*this), arrive] { arrive(); });
    }
  }
}

void State::tell(Tell operation, const Listener& listener, bool on_this_thread) {
  std::vector<std::shared_ptr<Observer>> told;
  {
    const std::lock_guard lock(mutex);
    told = observers;
  }
  for (const auto& observer : told) {
    const auto call = [this, to = observer->target, operation, listener] {
      (to->*operation)(this, listener.first.c_str(), listener.second.c_str());
    };
    if (on_this_thread) {
      observer->receiver.run(call);
    } else {
      observer->receiver.post([journey = std::make_shared<Journey>(*this), call] { call(); });
    }
  }
}

State::~State() {
  // Their threads go before anything that they use.
  for (const auto& subscription : subscriptions) subscription->receiver.close();
  for (const auto& observer : observers) observer->receiver.close();
  subscriptions.clear();
  observers.clear();
  former_observers.clear();
}

void Subscription::arrive(Message* message) {
  bus_callback callback = nullptr;
  void* context = nullptr;
  std::function<void(const std::function<void()>&)> surrounding;
  {
    const std::lock_guard lock(state_.mutex);
    callback = callback_;
    context = context_;
    surrounding = state_.surrounding;
  }
  if (callback == nullptr) return;
  const auto call = [&] { callback(message, context); };
  if (surrounding) {
    surrounding(call);
  } else {
    call();
  }
}

IBusChannel* Subscription::GetChannel() {
  const std::lock_guard lock(state_.mutex);
  if (ended) state_.mistakes.push_back("an ended subscription is asked for its channel");
  return ended || state_.hides_channels ? nullptr : &channel_;
}

std::uint32_t Subscription::SetCallback(bus_callback callback, void* context, std::uint64_t zero) {
  state_.record("SetCallback " + channel_.name());
  const std::lock_guard lock(state_.mutex);
  if (zero != 0) state_.mistakes.push_back("SetCallback with more than 0");
  if (callback == nullptr) state_.mistakes.push_back("SetCallback without a callback");
  if (ended) state_.mistakes.push_back("an ended subscription gets a callback");
  if (state_.callback_status == 0) {
    callback_ = callback;
    context_ = context;
  }
  return state_.callback_status;
}

std::optional<SentMessage> Channel::note(IBusMessage* message, bool waited, std::uint32_t timeout) {
  const std::lock_guard lock(state_.mutex);
  auto* const own = static_cast<Message*>(message);
  if (own == nullptr || !own->is_alive()) {
    state_.mistakes.push_back("what is sent is no living message");
    return std::nullopt;
  }
  state_.sent.push_back({name_, own->writes(), waited, timeout, own->references()});
  return state_.sent.back();
}

void Channel::Send(IBusMessage* message) {
  state_.record("Send " + name_);
  const std::optional<SentMessage> sent = note(message, false, 0);
  bool loops = false;
  {
    const std::lock_guard lock(state_.mutex);
    loops = state_.loops;
  }
  if (sent && loops) state_.spread(name_, sent->fields, std::make_shared<Exchange>(), false);
}

std::uint32_t Channel::SendAndWait(IBusMessage* message, IBusMessage** reply,
                                   std::uint32_t timeout_milliseconds) {
  state_.record("SendAndWait " + name_ + " " + std::to_string(timeout_milliseconds));
  const std::optional<SentMessage> sent = note(message, true, timeout_milliseconds);
  if (!sent) return wait_timeout;

  std::unique_lock lock(state_.mutex);
  BusAnswer answer = state_.answer;
  if (state_.loops) {
    const auto exchange = std::make_shared<Exchange>();
    lock.unlock();
    state_.spread(name_, sent->fields, exchange, false);
    lock.lock();
    exchange->changed.wait_for(lock, std::chrono::milliseconds(timeout_milliseconds),
                               [&] { return exchange->reply || exchange->copies == 0; });
    answer = {exchange->reply ? 0 : wait_timeout, exchange->reply};
  } else if (const auto function = state_.answer_function) {
    lock.unlock();
    answer = function(*sent);
    lock.lock();
  }
  if (answer.status == 0) {
    *reply = answer.reply ? state_.make_message(name_, nullptr, *answer.reply) : nullptr;
  }
  return answer.status;
}

IBusSubscription* Channel::Subscribe() {
  state_.record("Subscribe " + name_);
  const std::lock_guard lock(state_.mutex);
  if (state_.refuses_subscriptions) return nullptr;
  state_.subscriptions.push_back(std::make_shared<Subscription>(state_, *this));
  return state_.subscriptions.back().get();
}

void Channel::Unsubscribe(IBusSubscription* subscription) {
  state_.record("Unsubscribe " + name_);
  std::shared_ptr<Subscription> found;
  {
    const std::lock_guard lock(state_.mutex);
    for (const auto& own : state_.subscriptions) {
      if (own.get() == subscription && own->channel() == this && !own->ended) found = own;
    }
    if (found != nullptr) {
      found->ended = true;
    } else {
      state_.mistakes.push_back("what is unsubscribed is no subscription of " + name_);
    }
  }
  if (found != nullptr) found->receiver.close();
}

IBusMessage* Core::CreateMessage(std::uint64_t zero) {
  state_.record("CreateMessage");
  const std::lock_guard lock(state_.mutex);
  if (zero != 0) state_.mistakes.push_back("CreateMessage with more than 0");
  if (state_.messages_left) {
    if (*state_.messages_left == 0) return nullptr;
    --*state_.messages_left;
  }
  return state_.make_message("", nullptr, {});
}

IBusChannel* Core::GetChannel(const char* name) {
  if (name == nullptr) {
    state_.mistake("a channel without a name");
    return nullptr;
  }
  state_.record(std::string("GetChannel ") + name);
  const std::lock_guard lock(state_.mutex);
  if (state_.refuses_channels || state_.refused_channels.contains(name)) return nullptr;
  std::unique_ptr<Channel>& channel = state_.channels[name];
  if (channel == nullptr) channel = std::make_unique<Channel>(state_, name);
  return channel.get();
}

}  // namespace support::bus_parts
