#include "support/FakeHost.h"

#include <utility>

#include "_base/win_error.h"

namespace support {

void FakeHost::set_plugin_manager(IServPluginManager* manager) {
  const std::lock_guard lock(mutex_);
  manager_ = manager;
}

void FakeHost::set_execution_service(IExecutionService* service) {
  const std::lock_guard lock(mutex_);
  service_ = service;
}

void FakeHost::add_plugin(const std::wstring& name, void* plugin) {
  fail_plugin(name, win_error::success, plugin);
}

void FakeHost::fail_plugin(const std::wstring& name, std::uint32_t status, void* plugin) {
  const std::lock_guard lock(mutex_);
  plugins_[name] = {status, plugin};
}

void FakeHost::add_plugin(const std::wstring& name, const IID& id, void* plugin) {
  const std::lock_guard lock(mutex_);
  faces_[name].push_back({id, plugin});
}

void FakeHost::add_object(const std::wstring& name, IZvBaseInterface* plugin) {
  const std::lock_guard lock(mutex_);
  objects_[name] = plugin;
}

void FakeHost::remove_plugin(const std::wstring& name) {
  const std::lock_guard lock(mutex_);
  plugins_.erase(name);
  faces_.erase(name);
  objects_.erase(name);
}

std::vector<std::wstring> FakeHost::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

void FakeHost::clear() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

IID FakeHost::last_id() const {
  const std::lock_guard lock(mutex_);
  return last_id_;
}

IServPluginManager* FakeHost::get_plugin_manager() {
  record(L"get_plugin_manager");
  const std::lock_guard lock(mutex_);
  return manager_;
}

IExecutionService* FakeHost::get_execution_service() {
  record(L"get_execution_service");
  const std::lock_guard lock(mutex_);
  return service_;
}

std::vector<IID> FakeHost::ids(const std::wstring& name) const {
  const std::lock_guard lock(mutex_);
  const auto found = ids_.find(name);
  return found != ids_.end() ? found->second : std::vector<IID>();
}

int FakeHost::plugins_out(const std::wstring& name) const {
  const std::lock_guard lock(mutex_);
  const auto found = out_.find(name);
  return found != out_.end() ? found->second : 0;
}

std::uint32_t FakeHost::get_plugin(const wchar_t* name, const IID& id, void** out) {
  record(std::wstring(L"get_plugin ") + name);
  const std::optional<Answer> answer = answer_of(name, id);
  const std::lock_guard lock(mutex_);
  last_id_ = id;
  ids_[name].push_back(id);
  if (!answer) return win_error::not_found;
  if (answer->status == win_error::success) ++out_[name];
  *out = answer->plugin;
  return answer->status;
}

std::optional<FakeHost::Answer> FakeHost::answer_of(const std::wstring& name, const IID& id) {
  IZvBaseInterface* object = nullptr;
  {
    const std::lock_guard lock(mutex_);
    if (const auto faces = faces_.find(name); faces != faces_.end()) {
      for (const Face& face : faces->second) {
        if (face.id == id) return Answer{win_error::success, face.plugin};
      }
      return std::nullopt;
    }
    if (const auto found = plugins_.find(name); found != plugins_.end()) return found->second;
    const auto found = objects_.find(name);
    if (found == objects_.end()) return std::nullopt;
    object = found->second;
  }
  void* const face = object->QueryInterface(id);
  if (face == nullptr) return std::nullopt;
  return Answer{win_error::success, face};
}

void FakeHost::release_plugin(const wchar_t* name) {
  record(std::wstring(L"release_plugin ") + name);
  const std::lock_guard lock(mutex_);
  --out_[name];
}

void FakeHost::record(std::wstring call) {
  const std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

}  // namespace support
