#pragma once

#include "host/connect.h"

// A message of this host, sent as another process sends one, and its reply.
class question {
 public:
  question(const bus_libraries& with, const char* module, const char* method)
      : channel_(with.bus->Core()->GetChannel(actions_channel)),
        message_(with.bus->Core()->CreateMessage(0)) {
    set("module", module).set("method", method);
  }
  question(const question&) = delete;
  question& operator=(const question&) = delete;
  ~question() {
    if (reply_) reply_->Release();
    message_->Release();
  }

  question& set(const char* key, const char* text) {
    message_->SetString(key, text);
    return *this;
  }
  question& set(const char* key, int64_t number) {
    message_->SetInt(key, number);
    return *this;
  }

  // Null if no reply came in this time, in milliseconds.
  IBusMessage* ask(uint32_t timeout = 60'000) {
    channel_->SendAndWait(message_, &reply_, timeout);
    return reply_;
  }

 private:
  IBusChannel* channel_;
  IBusMessage* message_;
  IBusMessage* reply_ = nullptr;
};
