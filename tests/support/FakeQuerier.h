#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "_base/EqWorkItem.h"
#include "frame/IServMain.h"
#include "guardian/ICloudGuardianQuerier.h"
#include "support/FakeHost.h"

namespace support {

/// What several fakes were asked, in one order.
class CallRecord {
 public:
  void add(std::string call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }
  std::vector<std::string> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

/// The host's serial queue, which runs its tasks when the test says so.
class FakeExecution final : public IExecutionService, public ISerialExecution {
 public:
  explicit FakeExecution(CallRecord& record) : record_(record) {}
  FakeExecution(const FakeExecution&) = delete;
  FakeExecution& operator=(const FakeExecution&) = delete;
  ~FakeExecution() { drop_tasks(); }

  void fail_make(std::uint32_t status) { make_status_ = status; }
  void fail_enqueue(std::uint32_t status) { enqueue_status_ = status; }

  std::size_t waiting() const { return tasks_.size(); }
  void run() {
    std::vector<EqWorkItem*> tasks = std::move(tasks_);
    tasks_.clear();
    for (EqWorkItem* task : tasks) {
      task->Execute();
      task->Release();
    }
  }

  std::uint32_t make_serial_execution(ISerialExecution** handle) override {
    record_.add("make_serial_execution");
    if (make_status_ == 0) *handle = this;
    return make_status_;
  }
  void release_serial_execution(ISerialExecution* handle) override {
    record_.add(handle == this ? "release_serial_execution" : "release of an unknown handle");
    drop_tasks();
  }
  std::uint32_t enqueue_task(const wchar_t* name, std::uint64_t, EqWorkItem* task, std::uint64_t,
                             std::uint64_t, std::uint64_t) override {
    const std::wstring text(name);
    record_.add("enqueue_task " + std::string(text.begin(), text.end()));
    if (enqueue_status_ == 0) tasks_.push_back(task);
    return enqueue_status_;
  }

 private:
  void drop_tasks() {
    for (EqWorkItem* task : tasks_) task->Release();
    tasks_.clear();
  }

  CallRecord& record_;
  std::uint32_t make_status_ = 0;
  std::uint32_t enqueue_status_ = 0;
  std::vector<EqWorkItem*> tasks_;
};

/// The other module's querier. Answers with `settings`.
class FakeQuerier final : public ICloudGuardianQuerier {
 public:
  explicit FakeQuerier(CallRecord& record) : record_(record) {}

  std::string settings;
  std::function<void()> on_get_settings;  ///< within that call
  ICloudGuardianSettingsObserver* observer = nullptr;

  void* QueryInterface(const IID&) override { return this; }
  void get_settings(zv::StringT<char>& out) override {
    record_.add("get_settings");
    if (on_get_settings) on_get_settings();
    out = settings.c_str();
  }
  bool add_observer(ICloudGuardianSettingsObserver* added, std::uint64_t context) override {
    record_.add("add_observer " + std::to_string(context));
    observer = added;
    return true;
  }
  bool remove_observer(ICloudGuardianSettingsObserver* removed, std::uint64_t context) override {
    record_.add("remove_observer " + std::to_string(context));
    if (observer != nullptr && removed != observer) record_.add("of another observer");
    observer = nullptr;
    return true;
  }

 private:
  CallRecord& record_;
};

/// The host's plug-ins: the querier, and a record of who asks for it.
class QuerierPlugins final : public IServPluginManager {
 public:
  QuerierPlugins(CallRecord& record, ICloudGuardianQuerier* querier)
      : record_(record), querier_(querier) {}

  std::uint32_t status = 0;  ///< of get_plugin

  std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override {
    record_.add("get_plugin " + narrow(name) +
                (id == IID_ICloudGuardianQuerier ? "" : " with another id"));
    if (status == 0) *out = querier_;
    return status;
  }
  void release_plugin(const wchar_t* name) override {
    record_.add("release_plugin " + narrow(name));
  }

 private:
  static std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

  CallRecord& record_;
  ICloudGuardianQuerier* querier_;
};

}  // namespace support
