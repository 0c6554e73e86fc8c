#pragma once

#include "_base/abi.h"
#include "frame/servplugin.h"

inline constexpr IID IID_IConnectIntegrator = {
    0x7b4213fe, 0x2633, 0x9505, {0xef, 0x43, 0x30, 0x34, 0x32, 0x49, 0x2c, 0x9e}};

/// The plug-in through which the interfaces of requests and pushes are found, by QueryInterface.
class IConnectIntegrator : public zv::framework::servplugin<true> {
 protected:
  ~IConnectIntegrator() = default;
};
