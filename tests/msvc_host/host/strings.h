#pragma once

#include "product/string.h"

// What the host's own memory manager was asked for since this was last emptied.
struct manager_calls {
  uint32_t allocate;
  uint32_t reallocate;
  uint32_t free;
  uint32_t release;
};

extern manager_calls host_manager;

// Makes the next Reallocate of the host's manager give null.
extern bool refuse_reallocate;
