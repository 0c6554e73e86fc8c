#include "devkit/msgbus/Bus.h"

#include "devkit/msgbus/Message.h"
#include "devkit/msgbus/bus_failure.h"
#include "devkit/msgbus/environment_number.h"
#include "devkit/msgbus/topics.h"
#include "frame/get_msgbus.h"

namespace devkit::bus {

Bus::Bus() : link_(std::make_shared<Link>(Address::from_environment(), grace_from_environment())) {}

Bus::~Bus() {
  for (const auto& [face, observer] : observers_) {
    link_->stop_observing(observer.get());
    observer->close();
  }
  observers_.clear();
  channels_.clear();
  link_->leave();
}

void* Bus::QueryInterface(const IID& id) {
  if (id == IID_IBus) return fails("QueryInterface") ? nullptr : static_cast<IBus*>(this);
  if (id == IID_IZvBaseInterface) return static_cast<IZvBaseInterface*>(this);
  return nullptr;
}

IBusCore* Bus::Core() {
  return fails("Core") ? nullptr : this;
}

void Bus::AddListener(const char* channel, const char* listener) {
  if (channel == nullptr || listener == nullptr || fails("AddListener")) return;
  link_->add_listener({channel, listener});
}

void Bus::RemoveListener(const char* channel, const char* listener) {
  if (channel != nullptr && listener != nullptr) link_->remove_listener({channel, listener});
}

bool Bus::IsListening(const char* channel, const char* listener) {
  if (channel == nullptr || listener == nullptr || fails("IsListening")) return false;
  return link_->is_listening({channel, listener});
}

bool Bus::AddObserver(ibus_observer* face, std::uint64_t) {
  if (face == nullptr || fails("AddObserver")) return false;
  const auto observer = std::make_shared<Observer>(face, workers_);
  {
    const std::lock_guard guard(mutex_);
    if (!observers_.emplace(face, observer).second) return false;
  }
  link_->observe(observer.get());
  {
    const std::lock_guard guard(mutex_);
    const auto found = observers_.find(face);
    if (found != observers_.end() && found->second == observer) return true;
  }
  // Removed while the link took its time, so nobody will take it out there, and it ends here.
  link_->stop_observing(observer.get());
  observer->close();
  return false;
}

bool Bus::RemoveObserver(ibus_observer* face, std::uint64_t) {
  if (fails("RemoveObserver")) return false;
  std::shared_ptr<Observer> observer;
  {
    const std::lock_guard guard(mutex_);
    const auto found = observers_.find(face);
    if (found == observers_.end()) return false;
    observer = std::move(found->second);
    observers_.erase(found);
  }
  link_->stop_observing(observer.get());
  observer->close();
  return true;
}

IBusMessage* Bus::CreateMessage(std::uint64_t) {
  return fails("CreateMessage") ? nullptr : new Message;
}

IBusChannel* Bus::GetChannel(const char* name) {
  if (name == nullptr || *name == '\0' || fails("GetChannel") || !channel_topic(name))
    return nullptr;
  const std::lock_guard guard(mutex_);
  std::unique_ptr<Channel>& channel = channels_[name];
  if (channel == nullptr) channel = std::make_unique<Channel>(name, link_, workers_);
  return channel.get();
}

}  // namespace devkit::bus
