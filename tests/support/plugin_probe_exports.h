#pragma once

// The whole of a library with one recording plug-in, which takes every name and can stand in for
// the configuration plug-in. A variant is a source that says which exports it has and includes this
// file, once:
//
//   PROBE_HAS_CREATE    1 or 0: ZvCreateObject
//   PROBE_HAS_DESTROY   1 or 0: ZvDestroyObject

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/IServConfig.h"

namespace {

class plugin_probe;

struct probe_state {
  std::mutex mutex;
  std::vector<plugin_probe*> living;  ///< several, where several threads ask
  std::vector<std::wstring> steps;
  std::map<std::wstring, std::uint32_t> failures;
  std::map<std::uint32_t, std::optional<std::wstring>> strings;
};

probe_state& state() {
  static probe_state the_state;
  return the_state;
}

void record(std::wstring step) {
  const std::lock_guard lock(state().mutex);
  state().steps.push_back(std::move(step));
}

/// The number that `step` was told to fail with; 0 for none.
std::uint32_t failure_of(const std::wstring& step) {
  const std::lock_guard lock(state().mutex);
  const auto found = state().failures.find(step);
  return found != state().failures.end() ? found->second : 0;
}

std::wstring name_of(const IID& id) {
  if (id == IID_IServPlugin) return L"IServPlugin";
  if (id == IID_IZvBaseInterface) return L"IZvBaseInterface";
  if (id == IID_IServConfig) return L"IServConfig";
  if (id == IID_ProductInfo) return L"ProductInfo";
  return L"unknown id";
}

/// The facet that the plug-in is handed back by. Another pointer than the plug-in's, as in closed
/// libraries, so that a caller who mixes the two up is seen.
class base_facet final : public IZvBaseInterface {
 public:
  void* QueryInterface(const IID&) override { return nullptr; }
};

class plugin_probe final : public IServConfig {
 public:
  plugin_probe() {
    const std::lock_guard lock(state().mutex);
    strings_ = state().strings;
  }
  ~plugin_probe() {
    // A caller who kept a text beyond its life reads this, if it reads anything.
    for (auto& [id, text] : strings_) {
      if (text) text->assign(text->size(), L'#');
    }
  }

  void* QueryInterface(const IID& id) override {
    record(L"QueryInterface " + name_of(id));
    if (id == IID_IZvBaseInterface) return &base_;
    return failure_of(L"QueryInterface") == 0 ? this : nullptr;
  }
  std::uint32_t Init(IServMain* host) override {
    record(host == nullptr ? L"Init without a host" : L"Init with a host");
    return failure_of(L"Init");
  }
  std::uint32_t UnInit() override {
    record(L"UnInit");
    return failure_of(L"UnInit");
  }
  std::uint32_t Start() override {
    record(L"Start");
    return failure_of(L"Start");
  }
  void Stop() override { record(L"Stop"); }
  void* scalar_deleting_destructor(std::uint32_t flags) override {
    record(L"deleting destructor");
    return msvc_abi::run_destructor(this, flags);
  }
  const wchar_t* GetString(std::uint32_t id, const wchar_t* default_value) override {
    record(L"GetString " + std::to_wstring(id) + L" " + default_value);
    const auto found = strings_.find(id);
    if (found == strings_.end()) return default_value;
    return found->second ? found->second->c_str() : nullptr;
  }

  const base_facet* base() const noexcept { return &base_; }

 private:
  base_facet base_;
  std::map<std::uint32_t, std::optional<std::wstring>> strings_;
};

}  // namespace

ABI_EXPORT void ProbeReset() {
  const std::lock_guard lock(state().mutex);
  state().steps.clear();
  state().failures.clear();
  state().strings.clear();
}

/// "create", "Init", "Start", "QueryInterface" (any number but 0: it gives null) or "UnInit".
ABI_EXPORT void ProbeFail(const wchar_t* step, std::uint32_t number) {
  const std::lock_guard lock(state().mutex);
  state().failures[step] = number;
}

/// What GetString answers for `id` in plug-ins made from now on; `text` may be null.
ABI_EXPORT void ProbeSetString(std::uint32_t id, const wchar_t* text) {
  const std::lock_guard lock(state().mutex);
  state().strings[id] = text != nullptr ? std::optional<std::wstring>(text) : std::nullopt;
}

ABI_EXPORT void ProbeVisit(void (*visit)(void* context, const wchar_t* step), void* context) {
  const std::lock_guard lock(state().mutex);
  for (const std::wstring& step : state().steps) visit(context, step.c_str());
}

#if PROBE_HAS_CREATE
ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  record(std::wstring(L"create ") + name + L" " + name_of(id));
  if (const std::uint32_t number = failure_of(L"create"); number != 0) return number;
  auto* const created = new plugin_probe();
  const std::lock_guard lock(state().mutex);
  state().living.push_back(created);
  *out = created;
  return 0;
}
#endif

#if PROBE_HAS_DESTROY
ABI_EXPORT void ZvDestroyObject(const wchar_t* name, void* object) {
  plugin_probe* destroyed = nullptr;
  bool is_base = false;
  {
    const std::lock_guard lock(state().mutex);
    auto& living = state().living;
    auto found = std::find_if(living.begin(), living.end(),
                              [&](plugin_probe* plugin) { return plugin->base() == object; });
    is_base = found != living.end();
    if (!is_base && !living.empty()) found = living.end() - 1;  // whoever is meant by it
    if (found != living.end()) {
      destroyed = *found;
      living.erase(found);
    }
  }
  record(std::wstring(L"destroy ") + name + (is_base ? L"" : L" by a wrong pointer"));
  delete destroyed;
}
#endif
