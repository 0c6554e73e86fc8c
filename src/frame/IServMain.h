#pragma once

#include <cstdint>

#include "_base/abi.h"

class EqWorkItem;

/// The host's plug-ins, by name. Implemented by the host.
class IServPluginManager {
 public:
  virtual std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) = 0;
  virtual void release_plugin(const wchar_t* name) = 0;

 protected:
  ~IServPluginManager() = default;
};

/// A serial queue of the host.
class ISerialExecution {
 public:
  /// 0: the queue has `task` now. Otherwise it is the caller's to release. The zeros are 64 bits
  /// wide, so that a host may read them as numbers or as pointers.
  virtual std::uint32_t enqueue_task(const wchar_t* name, std::uint64_t zero1, EqWorkItem* task,
                                     std::uint64_t zero3, std::uint64_t zero4,
                                     std::uint64_t zero5) = 0;

 protected:
  ~ISerialExecution() = default;
};

/// The host's maker of serial queues.
class IExecutionService {
 public:
  virtual std::uint32_t make_serial_execution(ISerialExecution** handle) = 0;
  virtual void release_serial_execution(ISerialExecution* handle) = 0;

 protected:
  ~IExecutionService() = default;
};

/// The host's service object. The slots without a name of their own belong to the host.
class IServMain {
 public:
  virtual void not_called_0() = 0;
  virtual IServPluginManager* get_plugin_manager() = 0;
  virtual void not_called_2() = 0;
  virtual IExecutionService* get_execution_service() = 0;

 protected:
  ~IServMain() = default;
};
