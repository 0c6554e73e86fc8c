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

std::uint32_t FakeHost::get_plugin(const wchar_t* name, const IID& id, void** out) {
  record(std::wstring(L"get_plugin ") + name);
  const std::lock_guard lock(mutex_);
  last_id_ = id;
  const auto found = plugins_.find(name);
  if (found == plugins_.end()) return win_error::not_found;
  *out = found->second.plugin;
  return found->second.status;
}

void FakeHost::release_plugin(const wchar_t* name) {
  record(std::wstring(L"release_plugin ") + name);
}

void FakeHost::record(std::wstring call) {
  const std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

}  // namespace support
