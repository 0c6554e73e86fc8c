#pragma once

#include "msgbus/message.h"

namespace msgbus {

// A message for a subscription, or news of a listener for an observer.
struct letter {
  message* content = nullptr;
  bool appeared = false;
  char channel[32] = {};
  char listener[64] = {};
  letter* next = nullptr;
};

// Hears one letter after another. Each box has its own thread for that.
class mailbox {
 public:
  mailbox();
  // Takes the letter over.
  void post(letter* posted);
  // Drops what wasn't heard, waits for what is being heard, unless this is its own doing, and ends
  // the object.
  void close();

 protected:
  virtual ~mailbox();
  virtual void hear(const letter& heard) = 0;

 private:
  static uint32_t run(void* self);
  letter* take();
  static void discard(letter* gone);

  mutex lock_;
  letter* first_ = nullptr;
  bool closed_ = false;
  bool abandoned_ = false;  // closed by its own thread, which therefore ends the object
  void* wake_;
  void* thread_;
  uint32_t thread_id_ = 0;
};

}  // namespace msgbus
