#pragma once

#include "product/bus.h"
#include "runtime/lock.h"

namespace msgbus {

class message;

// The place for one reply, shared by who waits for it and by the copies of the question.
class reply_place {
 public:
  reply_place();
  void add_ref() { add_to(references_, 1); }
  void release();
  // The first one counts, as it is now.
  void fill(const message& reply);
  // Null if none came in time, else the caller's.
  message* wait(uint32_t milliseconds);

 private:
  ~reply_place();

  mutex lock_;
  void* filled_;
  message* reply_ = nullptr;
  int32_t references_ = 1;
};

class message final : public IBusMessage {
 public:
  message();
  // A message as it arrives. `answers` is where its reply goes, or null.
  message(const message& other, reply_place* answers);

  int64_t GetInt(const char* key) override;
  void SetInt(const char* key, int64_t value) override;
  const char* GetString(const char* key) override;
  void SetString(const char* key, const char* value) override;
  bool HasField(const char* key, uint64_t zero) override;
  void SetReply(IBusMessage* reply) override;
  void AddRef() override { add_to(references_, 1); }
  void Release() override;

  // As records show it.
  const char* written() const { return written_; }

 private:
  struct field {
    char key[32];
    char* text;  // null for a number
    int64_t number;
    field* next;
  };

  ~message();
  field* find(const char* key) const;
  field& place_for(const char* key);
  void copy_field(const field& from);

  field* fields_ = nullptr;
  reply_place* answers_ = nullptr;
  char written_[1024] = {};
  int32_t references_ = 1;
};

}  // namespace msgbus
