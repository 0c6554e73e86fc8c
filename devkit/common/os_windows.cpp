// winsock2.h brings windows.h and refuses to follow it; shellapi.h needs it.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <stdexcept>
#include <system_error>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/common/windows_handles.h"

namespace devkit::os {

namespace {

std::filesystem::path module_name(HMODULE module) {
  std::wstring name(32767, L'\0');
  const DWORD length = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
  if (length == 0) fail("GetModuleFileName");
  name.resize(length);
  return name;
}

HANDLE interrupted = nullptr;

BOOL WINAPI on_control(DWORD) {
  SetEvent(interrupted);
  return TRUE;
}

}  // namespace

void fail(const std::string& what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

std::filesystem::path program() {
  return module_name(nullptr);
}

std::filesystem::path own_folder() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&own_folder), &module)) {
    fail("GetModuleHandleEx");
  }
  return module_name(module).parent_path();
}

std::uint32_t process_id() {
  return GetCurrentProcessId();
}
std::uint32_t thread_id() {
  return GetCurrentThreadId();
}

std::optional<std::string> environment(const char* name) {
  const std::wstring wide = to_wide(name);
  std::wstring value(32768, L'\0');
  SetLastError(0);
  const DWORD length =
      GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size()));
  if (length == 0 && GetLastError() != 0) return std::nullopt;
  value.resize(length);
  return to_utf8(value);
}

std::vector<std::string> environment_names() {
  wchar_t* const block = GetEnvironmentStringsW();
  if (block == nullptr) fail("GetEnvironmentStrings");
  std::vector<std::string> names;
  for (const wchar_t* entry = block; *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    const std::wstring_view text = entry;
    std::wstring name(text.substr(0, text.find(L'=', 1)));
    CharUpperW(name.data());
    names.push_back(to_utf8(name));
  }
  FreeEnvironmentStringsW(block);
  return names;
}

void set_environment(const char* name, const std::optional<std::string>& value) {
  const std::wstring wide = value ? to_wide(*value) : std::wstring();
  const std::wstring wide_name = to_wide(name);
  // Taking away what isn't there is no failure.
  if (!SetEnvironmentVariableW(wide_name.c_str(), value ? wide.c_str() : nullptr) && value)
    fail(name);
}

std::vector<std::string> arguments(int, char**) {
  int count = 0;
  wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
  if (values == nullptr) fail("CommandLineToArgv");
  std::vector<std::string> texts;
  for (int i = 1; i < count; ++i) texts.push_back(to_utf8(values[i]));
  LocalFree(values);
  return texts;
}

bool prepare_terminal() {
  DWORD mode = 0;
  SetConsoleOutputCP(CP_UTF8);
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  if (!GetConsoleMode(output, &mode)) return false;
  // Where it can't be had, a table that is redrawn shows the sequences besides.
  SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  return true;
}

void own_port_alone(std::intptr_t socket) {
  const DWORD yes = 1;
  setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
             reinterpret_cast<const char*>(&yes), sizeof yes);
}

void append_to_file(const std::filesystem::path& path, std::string_view text) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) fail(to_utf8(path.wstring()) + " can't be opened for writing");
  // A byte far behind any text: what is locked here can't be read by others.
  OVERLAPPED range = {};
  range.OffsetHigh = 0x7FFFFFFF;
  DWORD count = 0;
  const LARGE_INTEGER nowhere = {};
  LARGE_INTEGER end = {};
  // The end is looked for under the lock, since others move it.
  const bool can_add = LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &range) &&
                       SetFilePointerEx(file, nowhere, &end, FILE_END);
  const bool added =
      can_add && WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
  const DWORD error = GetLastError();
  // Part of a line would spoil the one that follows it.
  if (can_add && count != text.size()) {
    SetFilePointerEx(file, end, nullptr, FILE_BEGIN);
    SetEndOfFile(file);
  }
  UnlockFileEx(file, 0, 1, 0, &range);
  CloseHandle(file);
  if (added && count == text.size()) return;
  SetLastError(added ? ERROR_HANDLE_DISK_FULL : error);
  fail(to_utf8(path.wstring()) + " can't be written");
}

bool is_held_up(const std::error_code& error) {
  // What somebody has open can't be replaced, for which there is more than one number.
  return error.value() == ERROR_SHARING_VIOLATION || error.value() == ERROR_ACCESS_DENIED ||
         error == std::errc::permission_denied;
}

FileLock::FileLock(const std::filesystem::path& path)
    : file_(as_number(CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))) {
  if (as_handle(file_) != INVALID_HANDLE_VALUE) return;
  const DWORD error = GetLastError();
  if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
    fail(to_utf8(path.wstring()) + " can't be opened");
}

FileLock::~FileLock() {
  if (as_handle(file_) != INVALID_HANDLE_VALUE) CloseHandle(as_handle(file_));
}

bool FileLock::try_lock() {
  OVERLAPPED first_byte = {};
  if (as_handle(file_) == INVALID_HANDLE_VALUE ||
      LockFileEx(as_handle(file_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                 &first_byte)) {
    return true;
  }
  if (GetLastError() == ERROR_LOCK_VIOLATION || GetLastError() == ERROR_IO_PENDING) return false;
  fail("LockFileEx");
}

std::string library_name(std::string_view stem) {
  return std::string(stem) + ".dll";
}

Library::Library(const std::filesystem::path& path)
    : handle_(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
  if (handle_ == nullptr) fail("could not load " + to_utf8(path.wstring()));
}

Library::~Library() {
  FreeLibrary(static_cast<HMODULE>(handle_));
}

void* Library::address(const char* name) const {
  const FARPROC found = GetProcAddress(static_cast<HMODULE>(handle_), name);
  if (found == nullptr)
    throw std::runtime_error(std::string("the library lacks the function ") + name);
  return reinterpret_cast<void*>(found);
}

Interrupt::Interrupt() {
  interrupted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (interrupted == nullptr) fail("CreateEvent");
  SetConsoleCtrlHandler(on_control, TRUE);
}

Interrupt::~Interrupt() {
  SetConsoleCtrlHandler(on_control, FALSE);
  CloseHandle(interrupted);
}

void Interrupt::wait() {
  WaitForSingleObject(interrupted, INFINITE);
}

bool Interrupt::wait_for(std::uint32_t milliseconds) {
  return WaitForSingleObject(interrupted, milliseconds) == WAIT_OBJECT_0;
}

}  // namespace devkit::os
