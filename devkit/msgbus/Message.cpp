#include "devkit/msgbus/Message.h"

#include "devkit/msgbus/bus_failure.h"

namespace devkit::bus {

const Field* Message::find(const char* key) const {
  const auto found = key != nullptr ? fields_.find(std::string_view(key)) : fields_.end();
  return found != fields_.end() ? &found->second : nullptr;
}

std::int64_t Message::GetInt(const char* key) {
  const Field* const field = find(key);
  const auto* const number = field != nullptr ? std::get_if<std::int64_t>(field) : nullptr;
  return number != nullptr ? *number : 0;
}

void Message::SetInt(const char* key, std::int64_t value) {
  if (key != nullptr) fields_[key] = value;
}

const char* Message::GetString(const char* key) {
  const Field* const field = find(key);
  const auto* const text = field != nullptr ? std::get_if<std::string>(field) : nullptr;
  return text != nullptr ? text->c_str() : nullptr;
}

void Message::SetString(const char* key, const char* value) {
  if (key == nullptr) return;
  if (value != nullptr) {
    fields_[key] = std::string(value);
  } else {
    fields_.erase(key);
  }
}

bool Message::HasField(const char* key, std::uint64_t) {
  return find(key) != nullptr;
}

void Message::SetReply(IBusMessage* reply) {
  if (reply == nullptr || replied_.exchange(true) || fails("SetReply")) return;
  if (const std::shared_ptr<Link> link = link_.lock())
    link->reply(reply_to_, static_cast<Message*>(reply)->fields());
}

void Message::AddRef() {
  ++references_;
}

void Message::Release() {
  if (--references_ == 0) delete this;
}

}  // namespace devkit::bus
