#pragma once

// What the events stand-in writes down of each event, for the host to read.

#include <stdint.h>

#include "runtime/text.h"

class ECEvent;

namespace events {

// One value of an event. Its name is the way to it, as in "strings/service", "integers/n",
// "lists/names[0]", "children/part/strings/a" or "child_lists/errors[1]/strings/method"; what the
// three Count operations say is under "strings", "integers" and "lists". Numbers are decimal.
struct field {
  wchar_t name[64];
  wchar_t value[128];
};

struct record {
  wchar_t name[64];
  wchar_t version[16];
  uint32_t type;
  bool flag;
  uint64_t zero;
  uint32_t used;
  field fields[48];

  // The value of that name; null if there is none.
  const wchar_t* value(const wchar_t* field_name) const {
    for (uint32_t i = 0; i < used; ++i) {
      if (same<wchar_t>(fields[i].name, field_name)) return fields[i].value;
    }
    return nullptr;
  }
};

// Reads all that `event` holds, by the operations of its table alone.
void read(const ECEvent& event, record& to);

// The extra exports.
using count_function = uint32_t();                      // events_record_count
using record_function = const record*(uint32_t index);  // events_record; null past the end
using calls_function = const char*();    // events_calls: the plug-in's life, a word for each call
using forget_function = void();          // events_forget
using refuse_function = void(uint32_t);  // events_refuse: what post returns from now on

}  // namespace events
