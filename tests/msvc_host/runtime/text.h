#pragma once

// Text helpers for programs without a standard library.

#include <stddef.h>
#include <stdint.h>

template <class Ch>
size_t length_of(const Ch* text) {
  size_t length = 0;
  while (text[length]) ++length;
  return length;
}

template <class Ch>
bool same(const Ch* left, const Ch* right) {
  if (!left || !right) return left == right;
  while (*left && *left == *right) ++left, ++right;
  return *left == *right;
}

template <class Ch>
bool contains(const Ch* text, const Ch* part) {
  for (; *text; ++text) {
    size_t i = 0;
    while (part[i] && text[i] == part[i]) ++i;
    if (!part[i]) return true;
  }
  return !*part;
}

// Copies what fits, always terminated.
template <class Ch, size_t size>
void copy_text(Ch (&to)[size], const Ch* from) {
  size_t i = 0;
  for (; from && from[i] && i + 1 < size; ++i) to[i] = from[i];
  to[i] = 0;
}

template <class Ch, size_t size>
void append_text(Ch (&to)[size], const Ch* from) {
  size_t at = length_of(to);
  for (; *from && at + 1 < size; ++from) to[at++] = *from;
  to[at] = 0;
}
