#include "support/EventsRecorder.h"

#include <stdexcept>

#include "support/loadable.h"

namespace support {

EventsRecorder::EventsRecorder(const std::filesystem::path& folder)
    : path_(folder / platform::library_file_name(L"ecevents")) {
  std::filesystem::copy_file(loadable(L"ecevents"), path_);
  std::uint32_t error = 0;
  library_ = platform::load_library(path_.wstring().c_str(), error);
  if (library_ == nullptr) {
    throw std::runtime_error("no events client at " + path_.string() + ", error " +
                             std::to_string(error));
  }
}

EventsRecorder::~EventsRecorder() {
  platform::unload_library(library_);
}

template <class Function>
Function EventsRecorder::symbol(const char* name) const {
  std::uint32_t error = 0;
  void* const found = platform::find_symbol(library_, name, error);
  if (found == nullptr) throw std::runtime_error(std::string("the events client lacks ") + name);
  return reinterpret_cast<Function>(found);
}

std::vector<PostedEvent> EventsRecorder::posted() const {
  std::vector<PostedEvent> events;
  const auto keep = [](void* context, const PostedEvent& event) {
    static_cast<std::vector<PostedEvent>*>(context)->push_back(event);
  };
  symbol<void (*)(void (*)(void*, const PostedEvent&), void*)>("EventsVisitPosted")(keep, &events);
  return events;
}

std::vector<std::wstring> EventsRecorder::steps() const {
  std::vector<std::wstring> steps;
  const auto keep = [](void* context, const wchar_t* step) {
    static_cast<std::vector<std::wstring>*>(context)->push_back(step);
  };
  symbol<void (*)(void (*)(void*, const wchar_t*), void*)>("EventsVisitSteps")(keep, &steps);
  return steps;
}

void EventsRecorder::clear() {
  symbol<void (*)()>("EventsReset")();
}

void EventsRecorder::fail(const wchar_t* step, std::uint32_t number) {
  symbol<void (*)(const wchar_t*, std::uint32_t)>("EventsFail")(step, number);
}

}  // namespace support
