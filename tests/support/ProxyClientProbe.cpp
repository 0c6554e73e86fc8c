#include "support/ProxyClientProbe.h"

#include <algorithm>
#include <cwchar>
#include <stdexcept>
#include <utility>

namespace support {
namespace {

template <std::size_t Size>
void fill(wchar_t (&field)[Size], const std::wstring& text) {
  if (text.size() >= Size) throw std::logic_error("a text that a proxy record can't hold");
  std::wmemset(field, L'#', Size);  // what lies behind the terminator is rubbish
  std::wmemcpy(field, text.c_str(), text.size() + 1);
}

}  // namespace

ProxyClientProbe::ProxyClientProbe(std::filesystem::path path) : path_(std::move(path)) {
  std::uint32_t error = 0;
  library_ = platform::load_library(path_.wstring().c_str(), error);
  if (library_ == nullptr) throw std::runtime_error("the test's proxy client doesn't load");
  void* const set_backend = platform::find_symbol(library_, proxy_client::set_backend_name, error);
  if (set_backend == nullptr) throw std::runtime_error("not the test's proxy client");
  reinterpret_cast<proxy_client::set_backend_t>(set_backend)(this);
}

ProxyClientProbe::~ProxyClientProbe() {
  release_library();
}

void ProxyClientProbe::release_library() {
  if (library_ != nullptr) platform::unload_library(std::exchange(library_, nullptr));
}

bool ProxyClientProbe::library_is_loaded() const {
  return platform::find_loaded(path_.wstring().c_str()) != nullptr;
}

void ProxyClientProbe::set_proxy(const std::wstring& host, std::uint32_t port,
                                 const std::wstring& user, const std::wstring& password) {
  const std::lock_guard lock(mutex_);
  enabled_ = true;
  fill(info_.host, host);
  fill(info_.user, user);
  fill(info_.password, password);
  info_.port = port;
  info_.type = 1;
}

void ProxyClientProbe::turn_proxy_off() {
  const std::lock_guard lock(mutex_);
  enabled_ = false;
}

void ProxyClientProbe::set_type(std::uint32_t type) {
  const std::lock_guard lock(mutex_);
  type_ = type;
}

void ProxyClientProbe::fail(const std::wstring& call, std::uint32_t number) {
  const std::lock_guard lock(mutex_);
  failures_[call] = number;
}

void ProxyClientProbe::set_hook(std::function<void(const std::wstring& call)> hook) {
  const std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

bool ProxyClientProbe::report_change() {
  const std::lock_guard reporting(reporting_);
  if (observer_ == nullptr) return false;
  observer_->OnProxySettingsChanged();
  return true;
}

std::vector<std::wstring> ProxyClientProbe::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::size_t ProxyClientProbe::count(const std::wstring& call) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
}

void ProxyClientProbe::forget_calls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

std::vector<ProxyClientProbe::Observer> ProxyClientProbe::added() const {
  const std::lock_guard lock(mutex_);
  return added_;
}

std::vector<ProxyClientProbe::Observer> ProxyClientProbe::removed() const {
  const std::lock_guard lock(mutex_);
  return removed_;
}

std::uint32_t ProxyClientProbe::step(const wchar_t* call) {
  const std::wstring line = call;
  std::function<void(const std::wstring&)> hook;
  std::uint32_t status = 0;
  {
    const std::lock_guard lock(mutex_);
    calls_.push_back(line);
    hook = hook_;
    for (const auto& [start, number] : failures_) {
      if (line.starts_with(start)) status = number;
    }
  }
  // Outside the lock: it may block, while others go on asking.
  if (hook) hook(line);
  return status;
}

bool ProxyClientProbe::add_observer(ProxyManager::IProxyMgrEvents* observer,
                                    std::uint64_t context) {
  const std::lock_guard reporting(reporting_);
  observer_ = observer;
  const std::lock_guard lock(mutex_);
  added_.push_back({observer, context});
  return true;
}

void ProxyClientProbe::remove_observer(ProxyManager::IProxyMgrEvents* observer,
                                       std::uint64_t context) {
  const std::lock_guard reporting(reporting_);
  if (observer_ == observer) observer_ = nullptr;
  const std::lock_guard lock(mutex_);
  removed_.push_back({observer, context});
}

void ProxyClientProbe::get_enabled_state(bool* enabled) {
  const std::lock_guard lock(mutex_);
  *enabled = enabled_;
}

void ProxyClientProbe::get_proxy_type(std::uint32_t* type) {
  const std::lock_guard lock(mutex_);
  *type = type_;
}

void ProxyClientProbe::get_proxy(proxy_msgbus::proxy_info* info) {
  const std::lock_guard lock(mutex_);
  *info = info_;
}

}  // namespace support
