// Events of the module, for a host of another compiler to fill, read and end.

#include "_base/events/ECChildEvent.h"
#include "_base/events/ECEvent.h"

ABI_EXPORT ECEvent* probe_make_event() {
  return new ECEvent;
}
ABI_EXPORT ECChildEvent* probe_make_child() {
  return new ECChildEvent;
}
