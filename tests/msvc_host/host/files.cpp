#include "host/files.h"

#include "host/check.h"
#include "runtime/kernel32.h"

namespace {

void* const no_file = reinterpret_cast<void*>(~uint64_t{0});

[[noreturn]] void end_over(const wchar_t* path) {
  print("  FAIL "), print(path), print(" can't be made: "), print(uint64_t{GetLastError()}),
      print("\n");
  ExitProcess(2);
}

}  // namespace

void beside_program(file_path& path, const wchar_t* relative) {
  uint32_t length = GetModuleFileNameW(nullptr, path, sizeof(path) / sizeof(path[0]));
  while (length > 0 && path[length - 1] != L'\\') --length;
  path[length] = 0;
  append_text(path, relative);
}

void write_file(const wchar_t* relative, const char* text) {
  file_path path;
  beside_program(path, relative);
  void* file = CreateFileW(path, generic_write, 0, nullptr, create_always, 0, nullptr);
  const auto size = static_cast<uint32_t>(length_of(text));
  uint32_t written = 0;
  if (file == no_file || !WriteFile(file, text, size, &written, nullptr) || written != size) {
    end_over(path);
  }
  CloseHandle(file);
}

void make_folder(const wchar_t* relative) {
  file_path path;
  beside_program(path, relative);
  constexpr uint32_t already_there = 183;
  if (!CreateDirectoryW(path, nullptr) && GetLastError() != already_there) end_over(path);
}

void remove_file(const wchar_t* relative) {
  file_path path;
  beside_program(path, relative);
  DeleteFileW(path);
}

file_text::file_text(const wchar_t* relative) {
  file_path path;
  beside_program(path, relative);
  uint32_t size = 0;
  void* file = CreateFileW(path, generic_read, share_all, nullptr, open_existing, 0, nullptr);
  if (file != no_file) {
    if (!ReadFile(file, text, sizeof(text) - 1, &size, nullptr)) size = 0;
    CloseHandle(file);
  }
  text[size] = 0;
}
