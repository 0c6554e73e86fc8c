#include "devkit/msgbus/Observer.h"

namespace devkit::bus {

void Observer::changed(const ListenerChange& change) {
  strand_->post([observer = observer_, change] {
    const char* const channel = change.listener.channel.c_str();
    const char* const name = change.listener.name.c_str();
    if (change.added) {
      observer->on_new_listener(nullptr, channel, name);
    } else {
      observer->on_listener_removed(nullptr, channel, name);
    }
  });
}

}  // namespace devkit::bus
