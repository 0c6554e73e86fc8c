#pragma once

#include <cstdint>

class IBusCore;
class ibus_observer;

/// Channels, and the listeners that processes announce on them.
class IBusListeners {
 public:
  virtual IBusCore* Core() = 0;
  virtual void AddListener(const char* channel, const char* listener) = 0;
  virtual void RemoveListener(const char* channel, const char* listener) = 0;
  virtual bool IsListening(const char* channel, const char* listener) = 0;

 protected:
  ~IBusListeners() = default;
};

/// Who hears of those listeners. A new observer isn't told of those that are there already.
class IBusObservers {
 public:
  virtual bool AddObserver(ibus_observer* observer, std::uint64_t zero) = 0;
  /// Waits for a running call, except on that call's own thread.
  virtual bool RemoveObserver(ibus_observer* observer, std::uint64_t zero) = 0;

 protected:
  ~IBusObservers() = default;
};

/// The message bus, one object with two tables.
class IBus : public IBusListeners, public IBusObservers {
 protected:
  ~IBus() = default;
};
static_assert(sizeof(IBus) == 2 * sizeof(void*));
