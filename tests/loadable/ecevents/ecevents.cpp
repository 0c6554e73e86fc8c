// The events client's library: it keeps what is posted, and every step of its plug-in's life.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/IECEventsClient.h"
#include "frame/IServPlugin.h"
#include "loadable/ecevents/read_event.h"
#include "support/posted_event.h"

namespace {

struct library_state {
  std::mutex mutex;
  std::vector<std::wstring> steps;
  std::vector<support::PostedEvent> posted;
  std::map<std::wstring, std::uint32_t> failures;
};

library_state& state() {
  static library_state the_state;
  return the_state;
}

/// Records `line`; the number that `step` was told to fail with, 0 for none.
std::uint32_t take(const std::wstring& step, std::wstring line) {
  const std::lock_guard lock(state().mutex);
  state().steps.push_back(std::move(line));
  const auto failure = state().failures.find(step);
  return failure != state().failures.end() ? failure->second : 0;
}

/// What `call` gives. Nothing may be thrown into the module: a client without memory says so.
template <class Call>
std::uint32_t answer(Call&& call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return 14;
  }
}

std::uint32_t answer_step(const wchar_t* step) {
  return answer([&] { return take(step, step); });
}

constexpr IID events_client_id = {
    0x4a39a956, 0xfead, 0x848d, {0x25, 0x46, 0x1a, 0x03, 0xfe, 0x75, 0xd6, 0x4b}};

std::wstring name_of(const IID& id) {
  if (id == IID_IServPlugin) return L"IServPlugin";
  if (id == IID_IZvBaseInterface) return L"IZvBaseInterface";
  return id == events_client_id ? L"IECEventsClient" : L"unknown id";
}

/// The facet that the plug-in is handed back by: another pointer than the plug-in's.
class base_facet final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
};

/// The facet that takes events; a third pointer.
class client_facet final : public IECEventsClient {
 public:
  void not_called_0() override { answer_step(L"slot 0"); }
  void not_called_1() override { answer_step(L"slot 1"); }
  void not_called_2() override { answer_step(L"slot 2"); }
  void not_called_3() override { answer_step(L"slot 3"); }
  void not_called_4() override { answer_step(L"slot 4"); }
  void not_called_5() override { answer_step(L"slot 5"); }
  void not_called_6() override { answer_step(L"slot 6"); }
  std::uint32_t post(ECEvent* event, bool flag, std::uint64_t zero) override {
    return answer([&] {
      try {
        support::PostedEvent posted = read_event(*reinterpret_cast<const view::Event*>(event));
        posted.flag = flag;
        const std::uint32_t status = take(L"post", zero == 0 ? L"post" : L"post without a zero");
        const std::lock_guard lock(state().mutex);
        state().posted.push_back(std::move(posted));
        return status;
      } catch (const std::logic_error& fault) {
        const std::string text = fault.what();
        return take(L"post", L"post of a broken event: " + std::wstring(text.begin(), text.end()));
      }
    });
  }
};

class plugin final : public IServPlugin {
 public:
  void* QueryInterface(const IID& id) override {
    const std::uint32_t failure =
        answer([&] { return take(L"QueryInterface", L"QueryInterface " + name_of(id)); });
    if (id == IID_IZvBaseInterface) return &base_;
    return failure == 0 && id == events_client_id ? &client_ : nullptr;
  }
  std::uint32_t Init(IServMain* host) override {
    return answer([&] {
      return take(L"Init", host == nullptr ? L"Init without a host" : L"Init with a host");
    });
  }
  std::uint32_t UnInit() override { return answer_step(L"UnInit"); }
  std::uint32_t Start() override { return answer_step(L"Start"); }
  void Stop() override { answer_step(L"Stop"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    answer_step(L"deleting destructor");
    return msvc_abi::run_destructor(this, flags);
  }

  const base_facet* base() const noexcept { return &base_; }

 private:
  base_facet base_;
  client_facet client_;
};

/// Several at a time: each load of the library makes one.
std::map<const void*, plugin*>& plugins() {
  static std::map<const void*, plugin*> by_base;
  return by_base;
}

}  // namespace

ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  return answer([&] {
    const std::uint32_t failure =
        take(L"create", L"create " + std::wstring(name) + L" " + name_of(id));
    if (failure != 0) return failure;
    auto created = std::make_unique<plugin>();
    const std::lock_guard lock(state().mutex);
    plugins().emplace(created->base(), created.get());
    *out = created.release();
    return std::uint32_t{0};
  });
}

ABI_EXPORT void ZvDestroyObject(const wchar_t* name, void* object) {
  plugin* destroyed = nullptr;
  {
    const std::lock_guard lock(state().mutex);
    const auto found = plugins().find(object);
    if (found != plugins().end()) {
      destroyed = found->second;
      plugins().erase(found);
    }
  }
  answer([&] {
    const wchar_t* const how = destroyed != nullptr ? L"" : L" by a wrong pointer";
    return take(L"destroy", L"destroy " + std::wstring(name) + how);
  });
  delete destroyed;
}

ABI_EXPORT void EventsReset() {
  const std::lock_guard lock(state().mutex);
  state().steps.clear();
  state().posted.clear();
}

ABI_EXPORT void EventsFail(const wchar_t* step, std::uint32_t number) {
  const std::lock_guard lock(state().mutex);
  state().failures[step] = number;
}

ABI_EXPORT void EventsVisitSteps(void (*visit)(void* context, const wchar_t* step), void* context) {
  const std::lock_guard lock(state().mutex);
  for (const std::wstring& step : state().steps) visit(context, step.c_str());
}

/// The test and this library are built alike, so the test may read the record where it lies.
ABI_EXPORT void EventsVisitPosted(void (*visit)(void* context, const support::PostedEvent& event),
                                  void* context) {
  const std::lock_guard lock(state().mutex);
  for (const support::PostedEvent& event : state().posted) visit(context, event);
}
