// A message bus for the host's checks, built for the MSVC ABI as the real one is. All its processes
// are this one; it delivers on threads of its own, and writes every call down.

#include "msgbus/journal.h"
#include "msgbus/mailbox.h"
#include "runtime/text.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace msgbus {

census now;

namespace {

constexpr uint32_t most_records = 1024;
record records[most_records];
uint32_t used = 0;
mutex records_lock;
uint32_t refused = refuse_nothing;

record entry_of(call kind, const char* channel, const char* listener = nullptr) {
  record result{kind, true, 0, nullptr, {}, {}, {}};
  copy_text(result.channel, channel);
  copy_text(result.listener, listener);
  return result;
}

// Guards the seats of the channels and of the observers.
mutex seats_lock;

class subscription final : public IBusSubscription, public mailbox {
 public:
  explicit subscription(IBusChannel& channel) : channel_(channel) {}

  IBusChannel* GetChannel() override { return &channel_; }
  uint32_t SetCallback(callback* called, void* context, uint64_t zero) override {
    record entry = entry_of(call::set_callback, channel_.GetName());
    entry.as_told = called && zero == 0;
    entry.pointer = context;
    note(entry);
    if (refused & refuse_callback) return 31;
    const lock_guard guard(seats_lock);
    called_ = called;
    context_ = context;
    return 0;
  }

  bool hears() const { return called_; }
  subscription* next = nullptr;

 private:
  void hear(const letter& heard) override { called_(heard.content, context_); }

  IBusChannel& channel_;
  callback* called_ = nullptr;
  void* context_ = nullptr;
};

class channel final : public IBusChannel {
 public:
  explicit channel(const char* name) { copy_text(name_, name); }

  const char* GetName() override { return name_; }
  void Send(IBusMessage* sent) override {
    const auto& content = static_cast<const message&>(*sent);
    record entry = entry_of(call::send, name_);
    copy_text(entry.message, content.written());
    note(entry);
    deliver(content, nullptr);
  }
  uint32_t SendAndWait(IBusMessage* sent, IBusMessage** reply, uint32_t timeout) override {
    const auto& content = static_cast<const message&>(*sent);
    record entry = entry_of(call::send_and_wait, name_);
    entry.timeout = timeout;
    copy_text(entry.message, content.written());
    note(entry);
    auto* place = new reply_place;
    deliver(content, place);
    *reply = place->wait(timeout);
    place->release();
    return *reply ? 0 : 1460;
  }
  IBusSubscription* Subscribe() override {
    note(entry_of(call::subscribe, name_));
    if (refused & refuse_subscription) return nullptr;
    auto* made = new subscription(*this);
    add_to(now.subscriptions, 1);
    const lock_guard guard(seats_lock);
    made->next = first_;
    first_ = made;
    return made;
  }
  void Unsubscribe(IBusSubscription* ended) override {
    note(entry_of(call::unsubscribe, name_));
    subscription* found = take_out(ended);
    if (!found) return note_wrong_call();
    found->close();
    add_to(now.subscriptions, -1);
  }

  channel* next = nullptr;

 private:
  void deliver(const message& content, reply_place* place) {
    const lock_guard guard(seats_lock);
    for (subscription* at = first_; at; at = at->next) {
      if (at->hears()) at->post(new letter{new message(content, place)});
    }
  }
  subscription* take_out(const IBusSubscription* wanted) {
    const lock_guard guard(seats_lock);
    for (subscription** at = &first_; *at; at = &(*at)->next) {
      subscription* found = *at;
      if (found != wanted) continue;
      *at = found->next;
      return found;
    }
    return nullptr;
  }

  char name_[32];
  subscription* first_ = nullptr;
};

class observer_seat final : public mailbox {
 public:
  explicit observer_seat(ibus_observer* observer) : observer(observer) {}

  ibus_observer* const observer;
  observer_seat* next = nullptr;

 private:
  void hear(const letter& heard) override {
    void* const ignored = this;
    if (heard.appeared)
      observer->on_new_listener(ignored, heard.channel, heard.listener);
    else
      observer->on_listener_removed(ignored, heard.channel, heard.listener);
  }
};

struct listener {
  char channel[32];
  char name[64];
  listener* next;
};

// Guarded by seats_lock.
channel* channels = nullptr;
observer_seat* observers = nullptr;
listener* listeners = nullptr;

listener** find_listener(const char* channel_name, const char* name) {
  listener** at = &listeners;
  while (*at && !(same<char>((*at)->channel, channel_name) && same<char>((*at)->name, name)))
    at = &(*at)->next;
  return at;
}

void tell_observers(const char* channel_name, const char* name, bool appeared) {
  for (observer_seat* at = observers; at; at = at->next) {
    auto* news = new letter{nullptr, appeared};
    copy_text(news->channel, channel_name);
    copy_text(news->listener, name);
    at->post(news);
  }
}

class core final : public IBusCore {
 public:
  IBusMessage* CreateMessage(uint64_t zero) override {
    if (zero != 0) note_wrong_call();
    if (refused & refuse_message) return nullptr;
    return new message;
  }
  IBusChannel* GetChannel(const char* name) override {
    note(entry_of(call::get_channel, name));
    if (refused & refuse_channel) return nullptr;
    const lock_guard guard(seats_lock);
    channel* at = channels;
    while (at && !same(at->GetName(), name)) at = at->next;
    if (at) return at;
    at = new channel(name);
    at->next = channels;
    channels = at;
    return at;
  }
};

class bus final : public IBus {
 public:
  IBusCore* Core() override { return &core_; }
  void AddListener(const char* channel_name, const char* name) override {
    note(entry_of(call::add_listener, channel_name, name));
    const lock_guard guard(seats_lock);
    auto* added = new listener{{}, {}, listeners};
    copy_text(added->channel, channel_name);
    copy_text(added->name, name);
    listeners = added;
    add_to(now.listeners, 1);
    tell_observers(channel_name, name, true);
  }
  void RemoveListener(const char* channel_name, const char* name) override {
    note(entry_of(call::remove_listener, channel_name, name));
    const lock_guard guard(seats_lock);
    listener** at = find_listener(channel_name, name);
    listener* removed = *at;
    if (!removed) return note_wrong_call();
    *at = removed->next;
    delete removed;
    add_to(now.listeners, -1);
    tell_observers(channel_name, name, false);
  }
  bool IsListening(const char* channel_name, const char* name) override {
    note(entry_of(call::is_listening, channel_name, name));
    const lock_guard guard(seats_lock);
    return *find_listener(channel_name, name);
  }
  bool AddObserver(ibus_observer* observer, uint64_t zero) override {
    note_observer(call::add_observer, observer, zero);
    if (refused & refuse_observer) return false;
    auto* added = new observer_seat(observer);
    add_to(now.observers, 1);
    const lock_guard guard(seats_lock);
    added->next = observers;
    observers = added;
    return true;
  }
  bool RemoveObserver(ibus_observer* observer, uint64_t zero) override {
    note_observer(call::remove_observer, observer, zero);
    observer_seat* removed = take_out(observer);
    if (!removed) return false;
    removed->close();
    add_to(now.observers, -1);
    return true;
  }

 private:
  static void note_observer(call kind, ibus_observer* observer, uint64_t zero) {
    record entry = entry_of(kind, nullptr);
    entry.as_told = observer && zero == 0;
    entry.pointer = observer;
    note(entry);
  }
  static observer_seat* take_out(const ibus_observer* wanted) {
    const lock_guard guard(seats_lock);
    for (observer_seat** at = &observers; *at; at = &(*at)->next) {
      observer_seat* found = *at;
      if (found->observer != wanted) continue;
      *at = found->next;
      return found;
    }
    return nullptr;
  }

  core core_;
};

// What the bus is asked of: another object than the bus, which has no operation for it.
class bus_root final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID& id) override {
    return id == IID_IBus ? static_cast<IBus*>(&bus_) : nullptr;
  }

 private:
  bus bus_;
};

class bus_host final : public IBusHost {
 public:
  void unused_0() override { note_wrong_call(); }
  void unused_1() override { note_wrong_call(); }
  void unused_2() override { note_wrong_call(); }
  IZvBaseInterface* get_bus(uint64_t zero) override {
    record entry = entry_of(call::get_bus, nullptr);
    entry.as_told = zero == 0;
    note(entry);
    return &root_;
  }

 private:
  bus_root root_;
};

bus_host the_host;

}  // namespace

void note(const record& entry) {
  if (!entry.as_told) note_wrong_call();
  const lock_guard guard(records_lock);
  records[used < most_records - 1 ? used++ : most_records - 1] = entry;
}

}  // namespace msgbus

EXPORTED IBusHost* ZvGetInterface(IID id) {
  using namespace msgbus;
  const bool is_host = id == IID_IBusHost;
  record entry = entry_of(call::get_interface, nullptr);
  entry.as_told = is_host;
  note(entry);
  return is_host ? &the_host : nullptr;
}

EXPORTED uint32_t msgbus_record_count() {
  const lock_guard guard(msgbus::records_lock);
  return msgbus::used;
}
EXPORTED const msgbus::record* msgbus_record(uint32_t index) {
  return index < msgbus_record_count() ? &msgbus::records[index] : nullptr;
}
EXPORTED void msgbus_forget() {
  const lock_guard guard(msgbus::records_lock);
  msgbus::used = 0;
}
EXPORTED msgbus::census msgbus_census() {
  return msgbus::now;
}
EXPORTED void msgbus_refuse(uint32_t refusals) {
  msgbus::refused = refusals;
}
