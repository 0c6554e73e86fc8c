#pragma once

// Checks that print a sentence each, and are counted.

#include <stdint.h>

#include "runtime/text.h"

void print(const char* text);
void print(const wchar_t* text);  // what isn't ASCII becomes '?'
void print(uint64_t number);

// Prints the sentence, and whether it holds. Returns `holds`.
bool check(bool holds, const char* sentence);

// From here on a fault ends the program with a message and a code that isn't 0. Without this the
// system's own crash report would decide on the code, and it can be 0.
void end_on_fault();

// Names the group of checks that follows.
void about(const char* what);

// Prints the counts as the closing line; the program's exit code: 0, or 1 if a check failed or none
// ran.
uint32_t closing_line();

inline void check_same(uint64_t actual, uint64_t expected, const char* sentence) {
  if (!check(actual == expected, sentence))
    print("       is "), print(actual), print(", not "), print(expected), print("\n");
}

template <class Ch>
void check_text(const Ch* actual, const Ch* expected, const char* sentence) {
  if (check(same(actual, expected), sentence)) return;
  print("       is \""), print(actual ? actual : expected + length_of(expected));
  print(actual ? "\", not \"" : "\" (null), not \""), print(expected), print("\"\n");
}
