#pragma once

// What the parts of the stand-in share: its records, and its count of everything.

#include "msgbus/records.h"

namespace msgbus {

extern census now;

// A copy is kept. Any thread.
void note(const record& entry);

inline void note_wrong_call() {
  __atomic_add_fetch(&now.wrong_calls, 1, __ATOMIC_SEQ_CST);
}

}  // namespace msgbus
