#include "devkit/ecevents/EventsClient.h"

#include <cstdio>
#include <exception>

#include "_base/win_error.h"
#include "devkit/common/failure_on_demand.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/ecevents/event_line.h"

namespace devkit {

namespace {

constexpr std::uint32_t write_fault = 29;

std::uint32_t failure_of(const char* operation) {
  return failure_on_demand("SPLICE_EVENTS_FAIL", operation,
                           {"post", "ZvCreateObject", "Init", "Start", "QueryInterface"});
}

std::filesystem::path events_file() {
  const auto name = os::environment("SPLICE_EVENTS");
  return name && !name->empty() ? to_path(*name) : os::own_folder() / "ecevents.jsonl";
}

}  // namespace

void* EventsClient::QueryInterface(const IID& id) {
  if (id == IID_ECEventsClient)
    return failure_of("QueryInterface") == 0 ? static_cast<IECEventsClient*>(this) : nullptr;
  if (id == IID_IServPlugin || id == IID_IZvBaseInterface) return static_cast<IServPlugin*>(this);
  return nullptr;
}

std::uint32_t EventsClient::creation_failure() const {
  return failure_of("ZvCreateObject");
}

std::uint32_t EventsClient::Init(IServMain*) {
  return failure_of("Init");
}
std::uint32_t EventsClient::UnInit() {
  return win_error::success;
}
std::uint32_t EventsClient::Start() {
  return failure_of("Start");
}
void EventsClient::Stop() {}

void* EventsClient::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t EventsClient::post(ECEvent* event, bool, std::uint64_t) {
  if (event == nullptr) return win_error::invalid_parameter;
  try {
    if (const std::uint32_t failure = failure_of("post"); failure != 0) return failure;
    os::append_to_file(events_file(), event_line(*reinterpret_cast<const PostedEvent*>(event)));
    return win_error::success;
  } catch (const std::exception& error) {
    // The reason names the file.
    std::fprintf(stderr, "ecevents: an event is lost: %s; name another file by SPLICE_EVENTS.\n",
                 error.what());
    return write_fault;
  }
}

}  // namespace devkit
