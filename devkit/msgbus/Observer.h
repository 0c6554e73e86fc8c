#pragma once

#include <memory>

#include "devkit/msgbus/Link.h"
#include "devkit/msgbus/Strand.h"
#include "frame/msgbus/ibus_observer.h"

namespace devkit::bus {

/// An observer with a queue of its own, so that neither callbacks nor other observers hold it up.
class Observer final : public ListenerSink {
 public:
  Observer(ibus_observer* observer, Workers& workers)
      : observer_(observer), strand_(std::make_shared<Strand>(workers)) {}

  /// No call starts after it; waits for a running one, except within it.
  void close() { strand_->close(); }

  void changed(const ListenerChange& change) override;

 private:
  ibus_observer* const observer_;
  const std::shared_ptr<Strand> strand_;
};

}  // namespace devkit::bus
