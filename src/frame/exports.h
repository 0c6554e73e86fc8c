#pragma once

#include <cstdint>

#include "_base/abi.h"

// The module exports these two functions and nothing else.

/// Creates the plug-in `name`, or counts up the one there is, and gives its facet `id`, which must
/// be IID_IServPlugin or IID_IZvBaseInterface. 0, 13, 14 or 1168.
ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out);
/// Gives one count of the plug-in `name` back. `object` must not be null; nothing else is asked of
/// it. Reports nothing.
ABI_EXPORT void ZvDestroyObject(const wchar_t* name, void* object);
