#pragma once

#include "product/plugin.h"

// The host's services, which write down what they are asked for.
class host_services : public IServMain, public IServPluginManager, public execution_service {
 public:
  // IServMain
  void* first_unused() override {
    note("unused");
    return nullptr;
  }
  IServPluginManager* get_plugin_manager() override {
    note("manager");
    return manager_missing ? nullptr : this;
  }
  void* second_unused() override {
    note("unused");
    return nullptr;
  }
  execution_service* get_execution_service() override {
    note("execution");
    return execution_missing ? nullptr : this;
  }

  // IServPluginManager
  uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override;
  void release_plugin(const wchar_t* name) override;

  // execution_service
  uint32_t make_serial_execution(serial_execution** handle) override;
  void release_serial_execution(serial_execution* handle) override;

  bool execution_missing = false;
  bool manager_missing = false;
  uint32_t enqueue_result = 0;
  void* querier = nullptr;  // what this host gives as its one plug-in, "cloud_guardian_querier"
  const wchar_t* task_name = L"probe task";  // the one that is expected
  bool keeps_task = false;  // otherwise a task runs at once, on the thread that brings it
  char calls[512] = {};     // a word for each

  void note(const char* call);
  // Runs the kept task as a queue does; false if there is none.
  bool run_kept_task();

 private:
  class queue final : public serial_execution {
   public:
    explicit queue(host_services& host) : host_(host) {}
    uint32_t enqueue_task(const wchar_t* name, uint64_t reserved, EqWorkItem* task,
                          uint64_t reserved2, uint64_t reserved3, uint64_t reserved4) override;

   private:
    host_services& host_;
  };

  EqWorkItem* kept_ = nullptr;
};
