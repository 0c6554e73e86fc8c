#pragma once

// What the proxy stand-in offers to the host beside its two plug-ins.

#include "product/proxy.h"

namespace proxy_client {

// What a client answers.
struct answers {
  bool takes_observer;
  uint32_t enabled_status;
  bool enabled;
  uint32_t type;
  uint32_t info_status;
  proxy_msgbus::proxy_info info;
};

using answers_function = answers*();  // proxy_answers
// proxy_on_call: `heard` is told of each call as it comes, in one word.
using on_call_function = void(void (*heard)(const char* call));
using observer_function = ProxyManager::IProxyMgrEvents*();  // proxy_observer; null if there's none

}  // namespace proxy_client
