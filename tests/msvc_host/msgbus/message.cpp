#include "msgbus/message.h"

#include "msgbus/journal.h"
#include "runtime/text.h"

namespace msgbus {
namespace {

char* duplicate(const char* text) {
  const size_t size = length_of(text) + 1;
  auto* result = static_cast<char*>(operator new(size));
  for (size_t i = 0; i < size; ++i) result[i] = text[i];
  return result;
}

}  // namespace

reply_place::reply_place() : filled_(CreateEventW(nullptr, 1, 0, nullptr)) {}

reply_place::~reply_place() {
  if (reply_) reply_->Release();
  CloseHandle(filled_);
}

void reply_place::release() {
  if (add_to(references_, -1) == 0) delete this;
}

void reply_place::fill(const message& reply) {
  const lock_guard guard(lock_);
  if (reply_) return;
  reply_ = new message(reply, nullptr);
  SetEvent(filled_);
}

message* reply_place::wait(uint32_t milliseconds) {
  WaitForSingleObject(filled_, milliseconds);
  const lock_guard guard(lock_);
  message* result = reply_;
  if (result) result->AddRef();
  return result;
}

message::message() {
  add_to(now.messages, 1);
}

message::message(const message& other, reply_place* answers) : answers_(answers) {
  add_to(now.messages, 1);
  if (answers_) answers_->add_ref();
  for (const field* at = other.fields_; at; at = at->next) copy_field(*at);
}

message::~message() {
  while (fields_) {
    field* next = fields_->next;
    operator delete(fields_->text);
    delete fields_;
    fields_ = next;
  }
  if (answers_) answers_->release();
  add_to(now.messages, -1);
}

void message::Release() {
  if (add_to(references_, -1) == 0) delete this;
}

message::field* message::find(const char* key) const {
  field* at = fields_;
  while (at && !same<char>(at->key, key)) at = at->next;
  return at;
}

message::field& message::place_for(const char* key) {
  field* place = find(key);
  if (!place) {
    place = new field{};
    copy_text(place->key, key);
    place->next = fields_;
    fields_ = place;
  }
  operator delete(place->text);
  place->text = nullptr;
  if (written_[0]) append_text(written_, " ");
  append_text(written_, key);
  return *place;
}

void message::copy_field(const field& from) {
  fields_ = new field{{}, from.text ? duplicate(from.text) : nullptr, from.number, fields_};
  copy_text(fields_->key, from.key);
}

int64_t message::GetInt(const char* key) {
  const field* at = find(key);
  return at && !at->text ? at->number : absent_number;
}

void message::SetInt(const char* key, int64_t value) {
  place_for(key).number = value;
  append_text(written_, "#");
  append_number(written_, value);
}

const char* message::GetString(const char* key) {
  const field* at = find(key);
  return at ? at->text : nullptr;
}

void message::SetString(const char* key, const char* value) {
  if (!value) return note_wrong_call();
  place_for(key).text = duplicate(value);
  append_text(written_, "=");
  append_text(written_, value);
}

bool message::HasField(const char* key, uint64_t zero) {
  if (zero != 0) note_wrong_call();
  return find(key) != nullptr;
}

void message::SetReply(IBusMessage* reply) {
  const auto& given = static_cast<const message&>(*reply);
  record entry{call::set_reply, true, 0, nullptr, {}, {}, {}};
  copy_text(entry.message, given.written());
  note(entry);
  if (answers_) answers_->fill(given);
}

}  // namespace msgbus
