#pragma once

// The plug-in frame as a host sees it: plain C++, laid out by the host's own compiler.

#include "product/guid.h"

class IServMain;

class IZvBaseInterface {
 public:
  virtual void* QueryInterface(const IID& id) = 0;
};

class IServPlugin : public IZvBaseInterface {
 public:
  virtual uint32_t Init(IServMain* host) = 0;
  virtual uint32_t UnInit() = 0;
  virtual uint32_t Start() = 0;
  virtual void Stop() = 0;
  virtual ~IServPlugin() = default;
};

class EqWorkItem {
 public:
  virtual ~EqWorkItem() = default;
  virtual void Release() = 0;
  virtual void Execute() = 0;
};

class serial_execution {
 public:
  virtual uint32_t enqueue_task(const wchar_t* name, uint64_t reserved, EqWorkItem* task,
                                uint64_t reserved2, uint64_t reserved3, uint64_t reserved4) = 0;
};

class execution_service {
 public:
  virtual uint32_t make_serial_execution(serial_execution** handle) = 0;
  virtual void release_serial_execution(serial_execution* handle) = 0;
};

class IServPluginManager {
 public:
  virtual uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) = 0;
  virtual void release_plugin(const wchar_t* name) = 0;
};

class IServMain {
 public:
  virtual void* first_unused() = 0;
  virtual IServPluginManager* get_plugin_manager() = 0;
  virtual void* second_unused() = 0;
  virtual execution_service* get_execution_service() = 0;
};

namespace zv::framework {

// The fields stand between a plug-in's table pointer and that of its next base.
template <bool published>
class servplugin : public IServPlugin {
 protected:
  IServMain* serv_main = nullptr;
  IServPluginManager* plugin_manager = nullptr;
  void* execution = nullptr;
};

}  // namespace zv::framework

class IServConfig : public IServPlugin {
 public:
  virtual const wchar_t* GetString(uint32_t id, const wchar_t* default_value) = 0;
};

class ISyncRWLock {
 public:
  virtual void ReadLock(uint32_t thread_id) = 0;
  virtual void ReadUnlock(uint32_t thread_id) = 0;
  virtual void WriteLock(uint32_t thread_id) = 0;
  virtual void WriteUnlock(uint32_t thread_id) = 0;
};

using create_object = uint32_t(const wchar_t* name, IID id, void** out);
using destroy_object = void(const wchar_t* name, void* object);
