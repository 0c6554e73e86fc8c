#include "host/library.h"

#include "host/check.h"
#include "host/files.h"

library::library(const wchar_t* name) {
  file_path path;
  beside_program(path, name);
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
