#pragma once

#include <atomic>
#include <memory>

#include "devkit/msgbus/Link.h"
#include "frame/msgbus/IBusMessage.h"

namespace devkit::bus {

/// A message in the hands of the bus's users. One thread at a time uses its fields; its count and
/// SetReply are any thread's. An integer that isn't there reads as 0; a field of the other kind
/// reads as one that isn't there.
class Message final : public IBusMessage {
 public:
  /// A new one, with one reference.
  Message() = default;
  /// One that came in.
  Message(Fields fields, ReplyAddress reply_to, std::weak_ptr<Link> link)
      : fields_(std::move(fields)), reply_to_(std::move(reply_to)), link_(std::move(link)) {}

  const Fields& fields() const { return fields_; }

  std::int64_t GetInt(const char* key) override;
  void SetInt(const char* key, std::int64_t value) override;
  const char* GetString(const char* key) override;
  /// A null takes the field away.
  void SetString(const char* key, const char* value) override;
  bool HasField(const char* key, std::uint64_t zero) override;
  void SetReply(IBusMessage* reply) override;
  void AddRef() override;
  void Release() override;

 private:
  ~Message() = default;
  const Field* find(const char* key) const;

  Fields fields_;
  const ReplyAddress reply_to_{};
  const std::weak_ptr<Link> link_{};
  std::atomic<bool> replied_ = false;
  std::atomic<std::uint32_t> references_ = 1;
};

}  // namespace devkit::bus
