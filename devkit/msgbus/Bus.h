#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "devkit/msgbus/Channel.h"
#include "devkit/msgbus/Observer.h"
#include "frame/IZvBaseInterface.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusCore.h"

namespace devkit::bus {

/// A process's bus: one connection, and all that hangs on it.
class Bus final : public IZvBaseInterface, public IBus, public IBusCore {
 public:
  Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  /// Leaves the bus. Waits for running callbacks, so none may do it.
  ~Bus();

  void* QueryInterface(const IID& id) override;

  IBusCore* Core() override;
  void AddListener(const char* channel, const char* listener) override;
  void RemoveListener(const char* channel, const char* listener) override;
  bool IsListening(const char* channel, const char* listener) override;

  /// False for a null, and for one that is there already.
  bool AddObserver(ibus_observer* observer, std::uint64_t zero) override;
  bool RemoveObserver(ibus_observer* observer, std::uint64_t zero) override;

  IBusMessage* CreateMessage(std::uint64_t zero) override;
  /// Null also for a name that is empty or has tens of thousands of characters.
  IBusChannel* GetChannel(const char* name) override;

 private:
  const std::shared_ptr<Link> link_;
  Workers workers_{[this] { return link_->take_turn(); }};  ///< behind the link, so they end first
  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<Channel>, std::less<>> channels_;
  std::map<ibus_observer*, std::shared_ptr<Observer>> observers_;
};

}  // namespace devkit::bus
