#include "support/LogRecorder.h"

#include <ostream>
#include <stdexcept>
#include <utility>

#include "_base/utf8.h"

namespace support {

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << "{depth " << line.depth << ", level " << line.level << ", "
             << zv::to_utf8(line.function) << ": \"" << zv::to_utf8(line.text) << "\"}";
}

LogRecorder::LogRecorder(const std::filesystem::path& path) {
  std::uint32_t error = 0;
  library_ = platform::load_library(path.wstring().c_str(), error);
  if (library_ == nullptr) {
    throw std::runtime_error("no recorder at " + path.string() + ", error " +
                             std::to_string(error));
  }
}

LogRecorder::~LogRecorder() {
  set_hook({});
  platform::unload_library(library_);
}

template <class Function>
Function LogRecorder::symbol(const char* name) const {
  std::uint32_t error = 0;
  void* const found = platform::find_symbol(library_, name, error);
  if (found == nullptr) throw std::runtime_error(std::string("the recorder lacks ") + name);
  return reinterpret_cast<Function>(found);
}

std::vector<LogCall> LogRecorder::calls() const {
  std::vector<LogCall> calls;
  const auto keep = [](void* context, const log_call& call) {
    static_cast<std::vector<LogCall>*>(context)->push_back(
        {call.export_name,
         {call.depth, call.level, call.function, call.text},
         call.module,
         call.format,
         call.removed_module});
  };
  symbol<void (*)(log_call_visitor, void*)>("RecorderVisit")(keep, &calls);
  return calls;
}

std::vector<std::string> LogRecorder::call_names() const {
  std::vector<std::string> names;
  for (LogCall& call : calls()) {
    if (call.export_name != "LogIsEnabled") names.push_back(std::move(call.export_name));
  }
  return names;
}

std::vector<LogLine> LogRecorder::lines() const {
  std::vector<LogLine> lines;
  for (LogCall& call : calls()) {
    if (call.export_name == "LogWrite") lines.push_back(std::move(call.line));
  }
  return lines;
}

void LogRecorder::clear() {
  symbol<void (*)()>("RecorderClear")();
}

void LogRecorder::set_enabled(bool enabled) {
  symbol<void (*)(bool)>("RecorderSetEnabled")(enabled);
}

void LogRecorder::set_hook(std::function<void(const log_call&)> hook) {
  const auto set = symbol<void (*)(log_call_visitor, void*)>("RecorderSetHook");
  set(nullptr, nullptr);
  hook_ = std::move(hook);
  if (!hook_) return;
  set([](void* context, const log_call& call) { static_cast<LogRecorder*>(context)->hook_(call); },
      this);
}

}  // namespace support
