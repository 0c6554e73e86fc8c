// An events library for the host's checks, built for the MSVC ABI as the real one is: one plug-in
// that writes down each event that is posted.

#include "events/records.h"
#include "product/events.h"
#include "runtime/plugin.h"
#include "runtime/text.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

constexpr uint32_t most_records = 32;
events::record records[most_records];
uint32_t used = 0;
uint32_t answer = 0;
char calls[512];

void note(const char* call) {
  if (calls[0]) append_text(calls, " ");
  append_text(calls, call);
}

// Another object than the plug-in, with a table of its own.
class events_client final : public IECEventsClient {
 public:
  void unused_0() override { note("unused"); }
  void unused_1() override { note("unused"); }
  void unused_2() override { note("unused"); }
  void unused_3() override { note("unused"); }
  void unused_4() override { note("unused"); }
  void unused_5() override { note("unused"); }
  void unused_6() override { note("unused"); }
  uint32_t post(ECEvent* event, bool flag, uint64_t zero) override {
    note("post");
    events::record& next = records[used < most_records - 1 ? used++ : most_records - 1];
    next.flag = flag;
    next.zero = zero;
    events::read(*event, next);
    return answer;
  }
};
events_client client;

class events_plugin final : public noted_plugin {
 public:
  events_plugin() : noted_plugin(note) {}

 private:
  void* facet(const IID& id) override { return id == IID_ECEventsClient ? &client : nullptr; }
};
events_plugin* plugin = nullptr;

}  // namespace

EXPORTED uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (!same(name, L"eceventsclient") || !(id == IID_IServPlugin)) return 13;
  note("Create");
  plugin = new events_plugin;
  *out = static_cast<IServPlugin*>(plugin);
  return 0;
}

EXPORTED void ZvDestroyObject(const wchar_t* name, void* object) {
  note(same(name, L"eceventsclient") && plugin->is_root(object) ? "Destroy(root)" : "Destroy(?)");
  delete plugin;
  plugin = nullptr;
}

EXPORTED uint32_t events_record_count() {
  return used;
}
EXPORTED const events::record* events_record(uint32_t index) {
  return index < used ? &records[index] : nullptr;
}
EXPORTED const char* events_calls() {
  return calls;
}
EXPORTED void events_forget() {
  used = 0;
  calls[0] = 0;
}
EXPORTED void events_refuse(uint32_t status) {
  answer = status;
}
