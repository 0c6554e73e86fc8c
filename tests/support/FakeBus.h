#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/get_msgbus.h"
#include "frame/msgbus/IBus.h"
#include "loadable/msgbus/Backend.h"
#include "platform/library.h"
#include "support/bus_fields.h"

namespace support {

namespace bus_parts {
struct State;
}

/// A message that was sent, as it was at that moment.
struct SentMessage {
  std::string channel;
  BusFields fields;                    ///< every write, in order
  bool waited;                         ///< by SendAndWait
  std::uint32_t timeout_milliseconds;  ///< 0 for Send
  std::size_t references;

  /// What a field holds in the end: an empty text or 0 if it is absent.
  std::string text(std::string_view key) const;
  std::int64_t number(std::string_view key) const;
  std::string method() const { return text("method"); }
};

/// What a SendAndWait gives. No reply: a null one, where the status is 0.
struct BusAnswer {
  std::uint32_t status = 0;
  std::optional<BusFields> reply;
};

/// A message bus inside the process. It stands behind a loaded library "msgbus", or is used by
/// itself. One at a time in a process; every operation may be called from any thread, and no lock
/// is held while it calls out.
///
/// At first a message sent goes nowhere but into the record, and a SendAndWait gets a reply whose
/// "err" is 0.
///
/// Calls are recorded in their order as lines, the failed ones too: "GetChannel <channel>",
/// "CreateMessage", "Subscribe <channel>", "SetCallback <channel>", "AddListener <channel>
/// <listener>", "Send <channel>", "SendAndWait <channel> <milliseconds>", "SetReply <channel>",
/// "Unsubscribe <channel>", "RemoveListener <channel> <listener>", "IsListening <channel>
/// <listener>", "AddObserver", "RemoveObserver".
///
/// What no user of a bus may do (touch a message after its last Release, write a null text, end a
/// subscription twice, ...) is a mistake, and fails the test at the latest when the bus ends.
class FakeBus final : public msgbus::Backend {
 public:
  FakeBus();
  FakeBus(const FakeBus&) = delete;
  FakeBus& operator=(const FakeBus&) = delete;
  /// Unloads the library, and ends the threads of the bus.
  ~FakeBus();

  /// Puts the library into the process: from the build's own folder, where find_msgbus finds it, or
  /// as a copy in `folder`, where get_msgbus finds it too if that is the module's folder. The
  /// folder has to outlive the load.
  void load();
  void load(const std::filesystem::path& folder);
  /// No bus any more; the objects of this one go on.
  void unload();

  /// The bus itself.
  IBus* bus() noexcept;

  // What to refuse; `false` lets it pass again.
  void refuse_bus(bool refuses = true);  ///< the library's door leads nowhere
  void refuse_core(bool refuses = true);
  void refuse_channels(bool refuses = true);
  void refuse_channel(const std::string& name, bool refuses = true);
  void refuse_subscriptions(bool refuses = true);
  void refuse_observers(bool refuses = true);
  /// Makes no message after `made` more.
  void refuse_messages(std::size_t made = 0);
  void let_messages_pass();
  /// IBusSubscription::GetChannel gives null, from now on.
  void hide_channels_of_subscriptions(bool hides = true);
  /// A SetCallback that fails lets nothing arrive.
  void set_callback_status(std::uint32_t status);
  /// GetInt of an absent field; 0 at first.
  void set_absent_number(std::int64_t number);
  /// What each SendAndWait gets from now on, on its thread.
  void answer(BusAnswer answer);
  void answer_err(std::int64_t err);  ///< status 0, and a reply of that field alone
  void answer_by(std::function<BusAnswer(const SentMessage&)> function);
  /// From now on a message sent reaches the subscriptions of its channel, the sender's among them,
  /// each on a thread of its own. A SendAndWait then gets the first SetReply instead of a scripted
  /// answer, or the status 258 as soon as nobody is left who could give one.
  void loop_messages(bool loops = true);
  /// From now on `deliver` doesn't wait for the subscription's call under way, so that several
  /// threads are in one callback at once. Unsubscribe knows nothing of such calls.
  void overlap_deliveries(bool overlap = true);
  /// AddListener and RemoveListener reach the observers, each on a thread of its own.
  void announce_listeners(bool announces = true);
  /// Waits until all that was looped or announced has arrived. Not from a callback.
  void wait_idle();
  /// Runs within every recorded call from now on, on its thread, before the call has any effect.
  void set_hook(std::function<void(const std::string& call)> hook);

  /// From now on each subscription's callback runs in this, on its thread; it is to call what it
  /// gets, once.
  void surround_callbacks(std::function<void(const std::function<void()>& callback)> surrounding);

  /// A message arrives: in the callback of each subscription of the channel, one after the other,
  /// on this thread. Gives the first reply that was set, every write to it in order.
  std::optional<BusFields> deliver(const std::string& channel, const BusFields& fields);
  /// The observers hear of a listener, on this thread. IsListening has nothing to do with it.
  void announce(const std::string& channel, const std::string& listener);
  void withdraw(const std::string& channel, const std::string& listener);
  /// What IsListening says, whatever AddListener and RemoveListener made of it.
  void set_listening(const std::string& channel, const std::string& listener, bool listening);

  // What was done.
  std::vector<std::string> calls() const;
  std::size_t count(const std::string& call) const;  ///< lines that are exactly this
  void forget_calls();
  std::vector<SentMessage> sent() const;
  std::vector<SentMessage> sent(const std::string& method) const;
  SentMessage last_sent() const;  ///< throws if there is none
  void forget_sent();
  std::size_t messages_alive() const;  ///< with a reference that wasn't given back
  std::size_t subscriptions_alive(const std::string& channel) const;
  std::size_t observers_alive() const;
  /// Those that AddListener announced and nothing removed: "<channel> <listener>".
  std::vector<std::string> listeners() const;
  /// How often the library's door was asked for the bus.
  std::size_t visits() const;
  /// The mistakes so far, which then no longer fail the test.
  std::vector<std::string> take_mistakes();

  IBusHost* enter(const IID& id) override;

 private:
  void load_from(const std::filesystem::path& path);

  std::unique_ptr<bus_parts::State> state_;
  platform::module_handle library_ = nullptr;
  msgbus::set_backend_t set_backend_ = nullptr;
};

}  // namespace support
