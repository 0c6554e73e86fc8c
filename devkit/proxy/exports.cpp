#include <cstring>
#include <cwchar>
#include <mutex>

#include "devkit/common/plugin_exports.h"
#include "devkit/proxy/AppClient.h"
#include "devkit/proxy/CoreClient.h"
#include "devkit/proxy/channel.h"

namespace {

std::mutex channel_mutex;
std::string channel;

}  // namespace

namespace devkit {

void remember_channel(const std::string& name) {
  const std::lock_guard guard(channel_mutex);
  channel = name;
}

std::string remembered_channel() {
  const std::lock_guard guard(channel_mutex);
  return channel;
}

}  // namespace devkit

ABI_EXPORT std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  if (out == nullptr || name == nullptr) return win_error::invalid_data;
  *out = nullptr;
  if (std::wcscmp(name, L"proxy.msgbus.client.app") == 0)
    return devkit::create_plugin<devkit::AppClient>(id, out);
  if (std::wcscmp(name, L"proxy.msgbus.client.core") == 0)
    return devkit::create_plugin<devkit::CoreClient>(id, out);
  return win_error::not_found;
}

ABI_EXPORT void ZvDestroyObject(const wchar_t*, void* object) {
  if (object != nullptr) devkit::destroy_plugin(object);
}

/// For tests and the curious: the channel that communication was initialised with, cut to `size`
/// characters with the terminator; empty without communication.
ABI_EXPORT void SpliceProxyChannel(char* text, std::uint32_t size) {
  if (text == nullptr || size == 0) return;
  const std::string name = devkit::remembered_channel();
  text[name.copy(text, size - 1)] = '\0';
}
