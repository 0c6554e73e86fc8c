#pragma once

#include <cstddef>

#include "frame/IServMain.h"
#include "frame/IServPlugin.h"

namespace zv::framework {

/// The base of the module's plug-ins: keeps the host and its services. The argument changes
/// nothing; it tells the plug-ins that publish an interface class of their own (true) from those
/// that derive from here directly (false), and keeps the two families apart in the class tree.
template <bool PublishesInterface>
class servplugin : public IServPlugin {
 public:
  /// Plug-ins start from zero-filled memory.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory) noexcept;

  void* QueryInterface(const IID& id) override;
  /// Without a host (null) there is nothing to keep and nothing to fail. 87 if the host lacks a
  /// service, nothing being kept.
  std::uint32_t Init(IServMain* host) override;
  std::uint32_t UnInit() override;
  std::uint32_t Start() override;
  void Stop() override;

 protected:
  ~servplugin() = default;

  IServMain* serv_main = nullptr;
  IServPluginManager* plugin_manager = nullptr;
  IExecutionService* execution_service = nullptr;
};

extern template class servplugin<true>;
extern template class servplugin<false>;

}  // namespace zv::framework
