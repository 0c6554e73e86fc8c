#pragma once

// The message bus as its maker sees it, and what observes it.

#include "product/plugin.h"

class IBusMessage {
 public:
  virtual int64_t GetInt(const char* key) = 0;
  virtual void SetInt(const char* key, int64_t value) = 0;
  virtual const char* GetString(const char* key) = 0;
  virtual void SetString(const char* key, const char* value) = 0;
  virtual bool HasField(const char* key, uint64_t zero) = 0;
  virtual void SetReply(IBusMessage* reply) = 0;
  virtual void AddRef() = 0;
  virtual void Release() = 0;
};

class IBusChannel;

class IBusSubscription {
 public:
  using callback = void(IBusMessage* message, void* context);

  virtual IBusChannel* GetChannel() = 0;
  virtual uint32_t SetCallback(callback* called, void* context, uint64_t zero) = 0;
};

class IBusChannel {
 public:
  virtual const char* GetName() = 0;
  virtual void Send(IBusMessage* message) = 0;
  virtual uint32_t SendAndWait(IBusMessage* message, IBusMessage** reply, uint32_t timeout) = 0;
  virtual IBusSubscription* Subscribe() = 0;
  virtual void Unsubscribe(IBusSubscription* subscription) = 0;
};

class IBusCore {
 public:
  virtual IBusMessage* CreateMessage(uint64_t zero) = 0;
  virtual IBusChannel* GetChannel(const char* name) = 0;
};

class ibus_observer_base : public IZvBaseInterface {};

class ibus_observer : public ibus_observer_base {
 public:
  virtual void on_new_listener(void* ignored, const char* channel, const char* listener) = 0;
  virtual void on_listener_removed(void* ignored, const char* channel, const char* listener) = 0;
};

class bus_listeners {
 public:
  virtual IBusCore* Core() = 0;
  virtual void AddListener(const char* channel, const char* listener) = 0;
  virtual void RemoveListener(const char* channel, const char* listener) = 0;
  virtual bool IsListening(const char* channel, const char* listener) = 0;
};

class bus_observers {
 public:
  virtual bool AddObserver(ibus_observer* observer, uint64_t zero) = 0;
  virtual bool RemoveObserver(ibus_observer* observer, uint64_t zero) = 0;
};

class IBus : public bus_listeners, public bus_observers {};

// The library has further operations, which the module leaves alone.
class IBusHost {
 public:
  virtual void unused_0() = 0;
  virtual void unused_1() = 0;
  virtual void unused_2() = 0;
  virtual IZvBaseInterface* get_bus(uint64_t zero) = 0;
};

using get_interface = IBusHost*(IID id);  // ZvGetInterface
