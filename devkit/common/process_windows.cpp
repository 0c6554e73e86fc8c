#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/common/windows_handles.h"

namespace devkit::os {

namespace {

/// One argument in the form that the C runtime of the child takes apart again.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'\\') {
      ++backslashes;
      continue;
    }
    text.append(character == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
    text += character;
    backslashes = 0;
  }
  text.append(2 * backslashes, L'\\');
  return text + L"\"";
}

struct Close {
  void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using OwnHandle = std::unique_ptr<void, Close>;

struct Pipe {
  OwnHandle reader;
  OwnHandle writer;
};

Pipe make_pipe() {
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  if (!CreatePipe(&reader, &writer, nullptr, 0)) fail("CreatePipe");
  return {OwnHandle(reader), OwnHandle(writer)};
}

void make_inheritable(const OwnHandle& handle) {
  if (!SetHandleInformation(handle.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
    fail("SetHandleInformation");
}

/// The handles that a child inherits. It would get every inheritable one otherwise: another child's
/// ends of its pipes too, if a second thread is starting it at the moment, and that one's pipes
/// would stay open for as long as both children live.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::initializer_list<HANDLE> wanted) {
    for (const HANDLE handle : wanted) {
      // The system refuses a list with a handle twice, or with one that can't be inherited.
      const bool is_listed = std::find(handles_.begin(), handles_.end(), handle) != handles_.end();
      if (!is_listed && is_inheritable(handle)) handles_.push_back(handle);
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    if (!InitializeProcThreadAttributeList(attributes(), 1, 0, &size))
      fail("InitializeProcThreadAttributeList");
    if (!UpdateProcThreadAttribute(attributes(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                   handles_.data(), handles_.size() * sizeof(HANDLE), nullptr,
                                   nullptr)) {
      const DWORD error = GetLastError();
      DeleteProcThreadAttributeList(attributes());
      SetLastError(error);
      fail("UpdateProcThreadAttribute");
    }
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  ~InheritedHandles() { DeleteProcThreadAttributeList(attributes()); }

  /// Valid as long as this object.
  LPPROC_THREAD_ATTRIBUTE_LIST attributes() noexcept {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  static bool is_inheritable(HANDLE handle) {
    DWORD flags = 0;
    return handle != nullptr && handle != INVALID_HANDLE_VALUE &&
           GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
  }

  std::vector<HANDLE> handles_;    ///< the list points to them
  std::vector<std::byte> memory_;  ///< of the list
};

}  // namespace

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                 Input kind) {
  Pipe output = make_pipe();
  Pipe input = kind == Input::piped ? make_pipe() : Pipe();
  std::wstring line = quoted(program.wstring());
  for (const std::string& argument : arguments) line += L" " + quoted(to_wide(argument));

  STARTUPINFOEXW start = {};
  start.StartupInfo.cb = sizeof start;
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdInput =
      kind == Input::piped ? input.reader.get() : GetStdHandle(STD_INPUT_HANDLE);
  start.StartupInfo.hStdOutput = output.writer.get();
  start.StartupInfo.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  make_inheritable(output.writer);
  if (kind == Input::piped) make_inheritable(input.reader);
  InheritedHandles inherited(
      {start.StartupInfo.hStdInput, start.StartupInfo.hStdOutput, start.StartupInfo.hStdError});
  start.lpAttributeList = inherited.attributes();

  PROCESS_INFORMATION child = {};
  const auto starts = [&] {
    return CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                          EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo,
                          &child) != 0;
  };
  // Wine loses a child on its way now and then, under load, and says so by this number.
  int attempts = 3;
  bool is_started = starts();
  while (!is_started && GetLastError() == ERROR_INTERNAL_ERROR && --attempts != 0) {
    is_started = starts();
  }
  if (!is_started) fail("could not start " + to_utf8(program.wstring()));
  CloseHandle(child.hThread);
  handle_ = as_number(child.hProcess);
  id_ = child.dwProcessId;
  output_ = as_number(output.reader.release());
  if (kind == Input::piped) input_ = as_number(input.writer.release());
}

Process::~Process() {
  stop();
  CloseHandle(as_handle(handle_));
  close_input();
  close_output();
}

std::size_t Process::read_some(char* buffer, std::size_t size) {
  DWORD count = 0;
  if (ReadFile(as_handle(output_), buffer, static_cast<DWORD>(size), &count, nullptr)) return count;
  if (GetLastError() == ERROR_BROKEN_PIPE) return 0;
  fail("ReadFile");
}

bool Process::write_all(std::string_view text) {
  DWORD count = 0;
  while (!text.empty()) {
    if (!WriteFile(as_handle(input_), text.data(), static_cast<DWORD>(text.size()), &count,
                   nullptr)) {
      return false;
    }
    text.remove_prefix(count);
  }
  return true;
}

void Process::close_input() noexcept {
  if (input_ != -1) CloseHandle(as_handle(input_));
  input_ = -1;
}

void Process::close_output() noexcept {
  CloseHandle(as_handle(output_));
}

void Process::stop() {
  if (exit_code_) return;
  TerminateProcess(as_handle(handle_), 1);
  wait();
}

// What ends a process here leaves it no say anyway.
void Process::kill() {
  stop();
}

int Process::wait() {
  if (exit_code_) return *exit_code_;
  DWORD code = 0;
  WaitForSingleObject(as_handle(handle_), INFINITE);
  if (!GetExitCodeProcess(as_handle(handle_), &code)) fail("GetExitCodeProcess");
  exit_code_ = static_cast<int>(code);
  return *exit_code_;
}

}  // namespace devkit::os
