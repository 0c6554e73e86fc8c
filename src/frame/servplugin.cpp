#include "frame/servplugin.h"

#include <cstdlib>
#include <new>

#include "_base/win_error.h"

namespace zv::framework {

template <bool PublishesInterface>
void* servplugin<PublishesInterface>::operator new(std::size_t size) {
  void* const memory = std::calloc(1, size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

template <bool PublishesInterface>
void servplugin<PublishesInterface>::operator delete(void* memory) noexcept {
  std::free(memory);
}

template <bool PublishesInterface>
void* servplugin<PublishesInterface>::QueryInterface(const IID& id) {
  return id == IID_IServPlugin || id == IID_IZvBaseInterface ? this : nullptr;
}

template <bool PublishesInterface>
std::uint32_t servplugin<PublishesInterface>::Init(IServMain* host) {
  if (host == nullptr) return win_error::success;
  serv_main = host;
  execution_service = host->get_execution_service();
  if (execution_service != nullptr) plugin_manager = host->get_plugin_manager();
  if (execution_service != nullptr && plugin_manager != nullptr) return win_error::success;

  servplugin::UnInit();
  return win_error::invalid_parameter;
}

template <bool PublishesInterface>
std::uint32_t servplugin<PublishesInterface>::UnInit() {
  serv_main = nullptr;
  plugin_manager = nullptr;
  execution_service = nullptr;
  return win_error::success;
}

template <bool PublishesInterface>
std::uint32_t servplugin<PublishesInterface>::Start() {
  return win_error::success;
}

template <bool PublishesInterface>
void servplugin<PublishesInterface>::Stop() {}

template class servplugin<true>;
template class servplugin<false>;

}  // namespace zv::framework
