#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "frame/get_msgbus.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "frame/msgbus/IBusMessage.h"
#include "frame/msgbus/IBusSubscription.h"
#include "frame/msgbus/ibus_observer.h"
#include "support/FakeBus.h"
#include "support/Receiver.h"
#include "support/bus_fields.h"

/// What FakeBus is made of. Whatever isn't said to be otherwise is guarded by State::mutex.
namespace support::bus_parts {

struct State;

/// What became of a message that came in.
struct Exchange {
  std::optional<BusFields> reply;
  std::size_t copies = 0;  ///< still out
  std::condition_variable changed;
};

class Message final : public IBusMessage {
 public:
  /// With one reference. `exchange` is null unless it comes in.
  Message(State& state, std::string channel, std::shared_ptr<Exchange> exchange)
      : state_(state), channel_(std::move(channel)), exchange_(std::move(exchange)) {}

  std::int64_t GetInt(const char* key) override;
  void SetInt(const char* key, std::int64_t value) override;
  const char* GetString(const char* key) override;
  void SetString(const char* key, const char* value) override;
  bool HasField(const char* key, std::uint64_t zero) override;
  void SetReply(IBusMessage* reply) override;
  void AddRef() override;
  void Release() override;

  // With the lock held.
  bool is_alive() const noexcept { return references_ != 0; }
  std::size_t references() const noexcept { return references_; }
  const BusFields& writes() const noexcept { return writes_; }
  void write(const BusField& field);

 private:
  using Value = std::variant<std::int64_t, std::string>;

  const Value* find(const char* key);
  bool is_usable(const char* key);

  State& state_;
  const std::string channel_;
  const std::shared_ptr<Exchange> exchange_;
  std::size_t references_ = 1;
  std::map<std::string, Value> values_;
  BusFields writes_;
};

class Channel final : public IBusChannel {
 public:
  Channel(State& state, std::string name) : state_(state), name_(std::move(name)) {}

  const std::string& name() const noexcept { return name_; }

  const char* GetName() override { return name_.c_str(); }
  void Send(IBusMessage* message) override;
  std::uint32_t SendAndWait(IBusMessage* message, IBusMessage** reply,
                            std::uint32_t timeout_milliseconds) override;
  IBusSubscription* Subscribe() override;
  void Unsubscribe(IBusSubscription* subscription) override;

 private:
  std::optional<SentMessage> note(IBusMessage* message, bool waited, std::uint32_t timeout);

  State& state_;
  const std::string name_;
};

class Subscription final : public IBusSubscription {
 public:
  Subscription(State& state, Channel& channel) : state_(state), channel_(channel) {}

  IBusChannel* GetChannel() override;
  std::uint32_t SetCallback(bus_callback callback, void* context, std::uint64_t zero) override;

  const Channel* channel() const noexcept { return &channel_; }
  /// The receiver's, without the lock.
  void arrive(Message* message);

  Receiver receiver;  ///< guards itself
  bool ended = false;

 private:
  State& state_;
  Channel& channel_;
  bus_callback callback_ = nullptr;
  void* context_ = nullptr;
};

struct Observer {
  explicit Observer(ibus_observer* whom) : target(whom) {}

  ibus_observer* const target;
  Receiver receiver;  ///< guards itself
};

class Core final : public IBusCore {
 public:
  explicit Core(State& state) : state_(state) {}
  IBusMessage* CreateMessage(std::uint64_t zero) override;
  IBusChannel* GetChannel(const char* name) override;

 private:
  State& state_;
};

class Bus final : public IBus {
 public:
  explicit Bus(State& state) : state_(state) {}
  IBusCore* Core() override;
  void AddListener(const char* channel, const char* listener) override;
  void RemoveListener(const char* channel, const char* listener) override;
  bool IsListening(const char* channel, const char* listener) override;
  bool AddObserver(ibus_observer* observer, std::uint64_t zero) override;
  bool RemoveObserver(ibus_observer* observer, std::uint64_t zero) override;

 private:
  State& state_;
};

/// The way from the library's door to the bus.
class Host final : public IBusHost, public IZvBaseInterface {
 public:
  explicit Host(State& state) : state_(state) {}
  void not_called_0() override;
  void not_called_1() override;
  void not_called_2() override;
  IZvBaseInterface* get_bus(std::uint64_t zero) override;
  void* QueryInterface(const IID& id) override;

 private:
  State& state_;
};

using Listener = std::pair<std::string, std::string>;
using Tell = void (ibus_observer::*)(void*, const char*, const char*);

struct State {
  ~State();

  // Without the lock.
  void record(const std::string& call);
  void mistake(const std::string& what);
  /// Calls for each copy of a message that comes in; the copies are counted in `exchange`.
  void spread(const std::string& channel, const BusFields& fields,
              const std::shared_ptr<Exchange>& exchange, bool on_this_thread);
  void tell(Tell operation, const Listener& listener, bool on_this_thread);

  template <class Setting, class Value>
  void set(Setting State::*setting, Value value) {
    const std::lock_guard lock(mutex);
    this->*setting = std::move(value);
  }

  // With it.
  Message* make_message(const std::string& channel, const std::shared_ptr<Exchange>& exchange,
                        const BusFields& fields);

  std::mutex mutex;

  bool refuses_bus = false;
  bool refuses_core = false;
  bool refuses_channels = false;
  bool refuses_subscriptions = false;
  bool refuses_observers = false;
  bool hides_channels = false;
  bool loops = false;
  bool overlaps = false;
  bool announces = false;
  std::set<std::string> refused_channels;
  std::optional<std::size_t> messages_left;
  std::uint32_t callback_status = 0;
  std::int64_t absent_number = 0;
  BusAnswer answer{0, BusFields{{"err", 0}}};
  std::function<BusAnswer(const SentMessage&)> answer_function;
  std::function<void(const std::string&)> hook;
  std::function<void(const std::function<void()>&)> surrounding;
  std::map<Listener, bool> listening;

  std::vector<std::string> calls;
  std::vector<std::string> mistakes;
  std::vector<SentMessage> sent;
  std::multiset<Listener> listeners;
  std::size_t visits = 0;

  std::size_t on_the_way = 0;  ///< looped or announced
  std::condition_variable arrived;

  // What ended is kept, so that whoever uses it late is found out.
  std::map<std::string, std::unique_ptr<Channel>> channels;
  std::vector<std::unique_ptr<Message>> messages;
  std::vector<std::shared_ptr<Subscription>> subscriptions;
  std::vector<std::shared_ptr<Observer>> observers;
  std::vector<std::shared_ptr<Observer>> former_observers;

  Core core{*this};
  Bus bus{*this};
  Host host{*this};
};

}  // namespace support::bus_parts
