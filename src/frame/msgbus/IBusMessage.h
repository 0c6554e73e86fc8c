#pragma once

#include <cstdint>

/// A bus message: fields by name, each a UTF-8 text or an integer, and nothing nested. Counted;
/// whoever gets one from the bus holds one reference. Implemented by the bus, like everything in
/// this folder but the observer.
class IBusMessage {
 public:
  /// Of an absent field: whatever the bus makes of it.
  virtual std::int64_t GetInt(const char* key) = 0;
  virtual void SetInt(const char* key, std::int64_t value) = 0;
  /// Null if the field is absent. The message's own, valid until the field changes.
  virtual const char* GetString(const char* key) = 0;
  virtual void SetString(const char* key, const char* value) = 0;
  virtual bool HasField(const char* key, std::uint64_t zero) = 0;
  /// Answers this incoming message by `reply`, as it is now. The first answer counts.
  virtual void SetReply(IBusMessage* reply) = 0;
  virtual void AddRef() = 0;
  virtual void Release() = 0;

 protected:
  ~IBusMessage() = default;
};
