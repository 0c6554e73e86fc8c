#include "host/check.h"

#include "runtime/kernel32.h"

namespace {

uint32_t passed = 0;
uint32_t failed = 0;

void write(const char* text, size_t size) {
  static void* const output = GetStdHandle(static_cast<uint32_t>(-11));
  uint32_t written;
  WriteFile(output, text, static_cast<uint32_t>(size), &written, nullptr);
}

int32_t report_fault(exception_pointers* fault) {
  check(false, "the program runs to its end; this fault stopped it: code, address");
  print("       "), print(uint64_t{fault->record->code});
  print(", "), print(reinterpret_cast<uint64_t>(fault->record->address)), print("\n");
  ExitProcess(closing_line());
}

}  // namespace

void end_on_fault() {
  SetUnhandledExceptionFilter(report_fault);
}

void print(const char* text) {
  write(text, length_of(text));
}

void print(const wchar_t* text) {
  for (; *text; ++text) {
    const char ch = *text < 0x80 ? static_cast<char>(*text) : '?';
    write(&ch, 1);
  }
}

void print(uint64_t number) {
  char digits[24];
  char* at = digits + sizeof(digits);
  do {
    *--at = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  write(at, static_cast<size_t>(digits + sizeof(digits) - at));
}

bool check(bool holds, const char* sentence) {
  ++(holds ? passed : failed);
  print(holds ? "  ok   " : "  FAIL ");
  print(sentence);
  print("\n");
  return holds;
}

void about(const char* what) {
  print(what);
  print("\n");
}

uint32_t closing_line() {
  print(passed), print(" passed, "), print(failed), print(" failed\n");
  return failed == 0 && passed != 0 ? 0 : 1;
}
