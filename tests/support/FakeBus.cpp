#include "support/FakeBus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "support/bus_parts.h"
#include "support/loadable.h"

namespace support {

std::string SentMessage::text(std::string_view key) const {
  const std::string* const found = find_text(fields, key);
  return found != nullptr ? *found : std::string();
}

std::int64_t SentMessage::number(std::string_view key) const {
  const std::int64_t* const found = find_number(fields, key);
  return found != nullptr ? *found : 0;
}

FakeBus::FakeBus() : state_(std::make_unique<bus_parts::State>()) {}

FakeBus::~FakeBus() {
  unload();
  for (const std::string& mistake : take_mistakes()) ADD_FAILURE() << "the bus: " << mistake;
}

void FakeBus::load() {
  load_from(loadable(L"msgbus"));
}

void FakeBus::load(const std::filesystem::path& folder) {
  const std::filesystem::path copy = folder / platform::library_file_name(L"msgbus");
  std::filesystem::copy_file(loadable(L"msgbus"), copy,
                             std::filesystem::copy_options::skip_existing);
  load_from(copy);
}

void FakeBus::load_from(const std::filesystem::path& path) {
  if (library_ != nullptr) throw std::logic_error("the bus is loaded already");
  std::uint32_t error = 0;
  library_ = platform::load_library(path.wstring().c_str(), error);
  if (library_ == nullptr) throw std::runtime_error("the test's bus library doesn't load");
  void* const set_backend = platform::find_symbol(library_, msgbus::set_backend_name, error);
  if (set_backend == nullptr) throw std::runtime_error("another bus library is in the process");
  set_backend_ = reinterpret_cast<msgbus::set_backend_t>(set_backend);
  set_backend_(this);
}

void FakeBus::unload() {
  if (library_ == nullptr) return;
  // The library may stay, by another's count.
  set_backend_(nullptr);
  platform::unload_library(std::exchange(library_, nullptr));
}

IBus* FakeBus::bus() noexcept {
  return &state_->bus;
}

IBusHost* FakeBus::enter(const IID& id) {
  if (!(id == IID_IBusHost)) {
    state_->mistake("the bus's door is asked for another interface");
    return nullptr;
  }
  const std::lock_guard lock(state_->mutex);
  ++state_->visits;
  return state_->refuses_bus ? nullptr : &state_->host;
}

void FakeBus::refuse_bus(bool refuses) {
  state_->set(&bus_parts::State::refuses_bus, refuses);
}

void FakeBus::refuse_core(bool refuses) {
  state_->set(&bus_parts::State::refuses_core, refuses);
}

void FakeBus::refuse_channels(bool refuses) {
  state_->set(&bus_parts::State::refuses_channels, refuses);
}

void FakeBus::refuse_channel(const std::string& name, bool refuses) {
  const std::lock_guard lock(state_->mutex);
  if (refuses) {
    state_->refused_channels.insert(name);
  } else {
    state_->refused_channels.erase(name);
  }
}

void FakeBus::refuse_subscriptions(bool refuses) {
  state_->set(&bus_parts::State::refuses_subscriptions, refuses);
}

void FakeBus::refuse_observers(bool refuses) {
  state_->set(&bus_parts::State::refuses_observers, refuses);
}

void FakeBus::refuse_messages(std::size_t made) {
  state_->set(&bus_parts::State::messages_left, made);
}

void FakeBus::let_messages_pass() {
  const std::lock_guard lock(state_->mutex);
  state_->messages_left.reset();
}

void FakeBus::hide_channels_of_subscriptions(bool hides) {
  state_->set(&bus_parts::State::hides_channels, hides);
}

void FakeBus::set_callback_status(std::uint32_t status) {
  state_->set(&bus_parts::State::callback_status, status);
}

void FakeBus::set_absent_number(std::int64_t number) {
  state_->set(&bus_parts::State::absent_number, number);
}

void FakeBus::answer(BusAnswer answer) {
  const std::lock_guard lock(state_->mutex);
  state_->answer = std::move(answer);
  state_->answer_function = nullptr;
}

void FakeBus::answer_err(std::int64_t err) {
  answer({0, BusFields{{"err", err}}});
}

void FakeBus::answer_by(std::function<BusAnswer(const SentMessage&)> function) {
  state_->set(&bus_parts::State::answer_function, std::move(function));
}

void FakeBus::loop_messages(bool loops) {
  state_->set(&bus_parts::State::loops, loops);
}

void FakeBus::overlap_deliveries(bool overlap) {
  state_->set(&bus_parts::State::overlaps, overlap);
}

void FakeBus::announce_listeners(bool announces) {
  state_->set(&bus_parts::State::announces, announces);
}

void FakeBus::wait_idle() {
  std::unique_lock lock(state_->mutex);
  state_->arrived.wait(lock, [&] { return state_->on_the_way == 0; });
}

void FakeBus::set_hook(std::function<void(const std::string& call)> hook) {
  state_->set(&bus_parts::State::hook, std::move(hook));
}

void FakeBus::surround_callbacks(
    std::function<void(const std::function<void()>& callback)> surrounding) {
  const std::lock_guard lock(state_->mutex);
  state_->surrounding = std::move(surrounding);
}

std::optional<BusFields> FakeBus::deliver(const std::string& channel, const BusFields& fields) {
  const auto exchange = std::make_shared<bus_parts::Exchange>();
  state_->spread(channel, fields, exchange, true);
  const std::lock_guard lock(state_->mutex);
  return exchange->reply;
}

void FakeBus::announce(const std::string& channel, const std::string& listener) {
  state_->tell(&ibus_observer::on_new_listener, {channel, listener}, true);
}

void FakeBus::withdraw(const std::string& channel, const std::string& listener) {
  state_->tell(&ibus_observer::on_listener_removed, {channel, listener}, true);
}

void FakeBus::set_listening(const std::string& channel, const std::string& listener,
                            bool listening) {
  const std::lock_guard lock(state_->mutex);
  state_->listening[{channel, listener}] = listening;
}

std::vector<std::string> FakeBus::calls() const {
  const std::lock_guard lock(state_->mutex);
  return state_->calls;
}

std::size_t FakeBus::count(const std::string& call) const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<std::size_t>(std::count(state_->calls.begin(), state_->calls.end(), call));
}

void FakeBus::forget_calls() {
  const std::lock_guard lock(state_->mutex);
  state_->calls.clear();
}

std::vector<SentMessage> FakeBus::sent() const {
  const std::lock_guard lock(state_->mutex);
  return state_->sent;
}

std::vector<SentMessage> FakeBus::sent(const std::string& method) const {
  std::vector<SentMessage> all = sent();
  std::erase_if(all, [&](const SentMessage& message) { return message.method() != method; });
  return all;
}

SentMessage FakeBus::last_sent() const {
  const std::lock_guard lock(state_->mutex);
  if (state_->sent.empty()) throw std::logic_error("nothing was sent");
  return state_->sent.back();
}

void FakeBus::forget_sent() {
  const std::lock_guard lock(state_->mutex);
  state_->sent.clear();
}

std::size_t FakeBus::messages_alive() const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<std::size_t>(
      std::count_if(state_->messages.begin(), state_->messages.end(),
                    [](const auto& message) { return message->is_alive(); }));
}

std::size_t FakeBus::subscriptions_alive(const std::string& channel) const {
  const std::lock_guard lock(state_->mutex);
  return static_cast<std::size_t>(std::count_if(
      state_->subscriptions.begin(), state_->subscriptions.end(), [&](const auto& subscription) {
        return !subscription->ended && subscription->channel()->name() == channel;
      }));
}

std::size_t FakeBus::observers_alive() const {
  const std::lock_guard lock(state_->mutex);
  return state_->observers.size();
}

std::vector<std::string> FakeBus::listeners() const {
  const std::lock_guard lock(state_->mutex);
  std::vector<std::string> lines;
  for (const auto& [channel, listener] : state_->listeners) {
    lines.push_back(channel);
    lines.back().append(" ").append(listener);
  }
  return lines;
}

std::size_t FakeBus::visits() const {
  const std::lock_guard lock(state_->mutex);
  return state_->visits;
}

std::vector<std::string> FakeBus::take_mistakes() {
  const std::lock_guard lock(state_->mutex);
  return std::exchange(state_->mistakes, {});
}

}  // namespace support
