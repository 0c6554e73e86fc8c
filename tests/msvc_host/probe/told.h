#pragma once

#include <cstdint>

// Writes down which operation a call through a table reached. The host reads it by probe_last_call.
void told(const char* operation);

template <class Result>
Result told(const char* operation, Result result) {
  told(operation);
  return result;
}

// A destructor slot of an object that stays: writes the flags down too, and returns the object.
void* told_destructor(const char* interface_name, std::uint32_t flags, void* object);
