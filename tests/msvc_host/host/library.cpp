#include "host/library.h"

#include "host/check.h"

library::library(const wchar_t* name) {
  wchar_t path[512];
  uint32_t length = GetModuleFileNameW(nullptr, path, 512);
  while (length > 0 && path[length - 1] != L'\\') --length;
  path[length] = 0;
  append_text(path, name);
  module_ = LoadLibraryW(path);
  if (module_) return;
  print("  FAIL "), print(path), print(" can't be loaded: "), print(uint64_t{GetLastError()}),
      print("\n");
  ExitProcess(2);
}

void* library::address_of(const char* name) const {
  if (void* address = GetProcAddress(module_, name)) return address;
  print("  FAIL the export "), print(name), print(" is missing\n");
  ExitProcess(2);
}
