#pragma once

#include "_base/events/ECEventBase.h"

/// A part of an event, with values of its own.
class ECChildEvent final : public ECEventBase {
 public:
  void* scalar_deleting_destructor(std::uint32_t flags) override;
};
