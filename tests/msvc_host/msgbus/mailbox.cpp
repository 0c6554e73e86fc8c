#include "msgbus/mailbox.h"

#include "msgbus/journal.h"

namespace msgbus {

// Nothing is heard before the first letter, by which time the object is whole.
mailbox::mailbox()
    : wake_(CreateEventW(nullptr, 0, 0, nullptr)),
      thread_(CreateThread(nullptr, 0, run, this, 0, &thread_id_)) {}

mailbox::~mailbox() {
  while (letter* left = first_) {
    first_ = left->next;
    discard(left);
  }
  CloseHandle(thread_);
  CloseHandle(wake_);
}

void mailbox::discard(letter* gone) {
  if (gone->content) gone->content->Release();
  delete gone;
  add_to(now.undelivered, -1);
}

void mailbox::post(letter* posted) {
  add_to(now.undelivered, 1);
  const lock_guard guard(lock_);
  letter** end = &first_;
  while (*end) end = &(*end)->next;
  *end = posted;
  SetEvent(wake_);
}

letter* mailbox::take() {
  const lock_guard guard(lock_);
  letter* taken = closed_ ? nullptr : first_;
  if (taken) first_ = taken->next;
  return taken;
}

uint32_t mailbox::run(void* self) {
  auto& box = *static_cast<mailbox*>(self);
  for (bool closed = false; !closed;) {
    WaitForSingleObject(box.wake_, infinite);
    while (letter* taken = box.take()) {
      box.hear(*taken);
      discard(taken);
    }
    const lock_guard guard(box.lock_);
    closed = box.closed_;
  }
  if (box.abandoned_) delete &box;
  return 0;
}

void mailbox::close() {
  const bool is_own_doing = GetCurrentThreadId() == thread_id_;
  {
    const lock_guard guard(lock_);
    closed_ = true;
    abandoned_ = is_own_doing;
    SetEvent(wake_);
  }
  if (is_own_doing) return;
  WaitForSingleObject(thread_, infinite);
  delete this;
}

}  // namespace msgbus
