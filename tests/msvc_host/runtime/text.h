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

// Decimal.
template <size_t size>
void append_number(char (&to)[size], int64_t number) {
  char digits[24];
  char* at = digits + sizeof(digits) - 1;
  *at = 0;
  auto rest = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
  do {
    *--at = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (number < 0) *--at = '-';
  append_text(to, at);
}
