#include <algorithm>

#include "support/bus_parts.h"

namespace support::bus_parts {
namespace {

std::string line(const char* call, const char* channel, const char* listener) {
  return std::string(call) + " " + channel + " " + listener;
}

}  // namespace

IBusCore* Bus::Core() {
  const std::lock_guard lock(state_.mutex);
  return state_.refuses_core ? nullptr : &state_.core;
}

void Bus::AddListener(const char* channel, const char* listener) {
  state_.record(line("AddListener", channel, listener));
  const Listener added(channel, listener);
  {
    const std::lock_guard lock(state_.mutex);
    state_.listeners.insert(added);
    if (!state_.announces) return;
  }
  state_.tell(&ibus_observer::on_new_listener, added, false);
}

void Bus::RemoveListener(const char* channel, const char* listener) {
  state_.record(line("RemoveListener", channel, listener));
  const Listener removed(channel, listener);
  {
    const std::lock_guard lock(state_.mutex);
    const auto found = state_.listeners.find(removed);
    // One that was never announced is nobody's loss.
    if (found == state_.listeners.end()) return;
    state_.listeners.erase(found);
    if (!state_.announces) return;
  }
  state_.tell(&ibus_observer::on_listener_removed, removed, false);
}

bool Bus::IsListening(const char* channel, const char* listener) {
  state_.record(line("IsListening", channel, listener));
  const Listener asked(channel, listener);
  const std::lock_guard lock(state_.mutex);
  const auto told = state_.listening.find(asked);
  return told != state_.listening.end() ? told->second : state_.listeners.contains(asked);
}

bool Bus::AddObserver(ibus_observer* observer, std::uint64_t zero) {
  state_.record("AddObserver");
  const std::lock_guard lock(state_.mutex);
  if (zero != 0) state_.mistakes.push_back("AddObserver with more than 0");
  if (observer == nullptr) state_.mistakes.push_back("AddObserver without an observer");
  if (state_.refuses_observers || observer == nullptr) return false;
  for (const auto& other : state_.observers) {
    if (other->target == observer) state_.mistakes.push_back("an observer is added twice");
  }
  state_.observers.push_back(std::make_shared<Observer>(observer));
  return true;
}

bool Bus::RemoveObserver(ibus_observer* observer, std::uint64_t zero) {
  state_.record("RemoveObserver");
  std::shared_ptr<Observer> removed;
  {
    const std::lock_guard lock(state_.mutex);
    if (zero != 0) state_.mistakes.push_back("RemoveObserver with more than 0");
    const auto found =
        std::find_if(state_.observers.begin(), state_.observers.end(),
                     [&](const auto& candidate) { return candidate->target == observer; });
    if (found == state_.observers.end()) return false;
    removed = *found;
    state_.observers.erase(found);
    state_.former_observers.push_back(removed);
  }
  removed->receiver.close();
  return true;
}

void Host::not_called_0() {
  state_.mistake("the bus's host: slot 0");
}

void Host::not_called_1() {
  state_.mistake("the bus's host: slot 1");
}

void Host::not_called_2() {
  state_.mistake("the bus's host: slot 2");
}

IZvBaseInterface* Host::get_bus(std::uint64_t zero) {
  if (zero != 0) state_.mistake("the bus's host is called with more than 0");
  return this;
}

void* Host::QueryInterface(const IID& id) {
  if (id == IID_IBus) return static_cast<IBus*>(&state_.bus);
  state_.mistake("the bus is asked for another interface");
  return nullptr;
}

// A message.

bool Message::is_usable(const char* key) {
  if (!is_alive()) state_.mistakes.push_back("a message is used after its last Release");
  if (key == nullptr) state_.mistakes.push_back("a field without a name");
  return is_alive() && key != nullptr;
}

const Message::Value* Message::find(const char* key) {
  if (!is_usable(key)) return nullptr;
  const auto found = values_.find(key);
  return found != values_.end() ? &found->second : nullptr;
}

void Message::write(const BusField& field) {
  values_[field.key] = field.value;
  writes_.push_back(field);
}

std::int64_t Message::GetInt(const char* key) {
  const std::lock_guard lock(state_.mutex);
  const Value* const value = find(key);
  const auto* const number = value != nullptr ? std::get_if<std::int64_t>(value) : nullptr;
  return number != nullptr ? *number : state_.absent_number;
}

void Message::SetInt(const char* key, std::int64_t value) {
  const std::lock_guard lock(state_.mutex);
  if (is_usable(key)) write({key, value});
}

const char* Message::GetString(const char* key) {
  const std::lock_guard lock(state_.mutex);
  const Value* const value = find(key);
  const auto* const text = value != nullptr ? std::get_if<std::string>(value) : nullptr;
  return text != nullptr ? text->c_str() : nullptr;
}

void Message::SetString(const char* key, const char* value) {
  const std::lock_guard lock(state_.mutex);
  if (value == nullptr) {
    state_.mistakes.push_back("a null text is written");
    return;
  }
  if (is_usable(key)) write({key, value});
}

bool Message::HasField(const char* key, std::uint64_t zero) {
  const std::lock_guard lock(state_.mutex);
  if (zero != 0) state_.mistakes.push_back("HasField with more than 0");
  return find(key) != nullptr;
}

void Message::SetReply(IBusMessage* reply) {
  state_.record("SetReply " + channel_);
  const std::lock_guard lock(state_.mutex);
  auto* const own = static_cast<Message*>(reply);
  if (exchange_ == nullptr) {
    state_.mistakes.push_back("a message gets a reply that didn't come in");
  } else if (own == nullptr || !own->is_alive()) {
    state_.mistakes.push_back("a reply is no living message");
  } else if (!is_alive()) {
    state_.mistakes.push_back("a message gets a reply after its last Release");
  } else if (!exchange_->reply) {
    exchange_->reply = own->writes();
    exchange_->changed.notify_all();
  }
}

void Message::AddRef() {
  const std::lock_guard lock(state_.mutex);
  if (is_alive()) {
    ++references_;
  } else {
    state_.mistakes.push_back("AddRef after the last Release");
  }
}

void Message::Release() {
  const std::lock_guard lock(state_.mutex);
  if (!is_alive()) {
    state_.mistakes.push_back("Release after the last Release");
    return;
  }
  if (--references_ != 0) return;
  values_.clear();
  writes_.clear();
}

}  // namespace support::bus_parts
