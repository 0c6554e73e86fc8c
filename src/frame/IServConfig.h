#pragma once

#include <cstdint>

#include "frame/IServPlugin.h"

inline constexpr IID IID_IServConfig = {
    0x5666c9d0, 0x9724, 0x666b, {0x66, 0x46, 0x08, 0x61, 0x3d, 0xc9, 0x66, 0xf6}};
/// A second facet of the same plug-in, with the same GetString.
inline constexpr IID IID_ProductInfo = {
    0x6f0aaf08, 0xf533, 0xa2e3, {0x9a, 0x4d, 0x72, 0xc0, 0xd7, 0x30, 0xcb, 0x99}};

inline constexpr std::uint32_t PATH_COMMON_PRODUCT_DESKTOP_PROFILES = 408;
inline constexpr std::uint32_t PRODUCT_APP_ID = 44;

/// The product's configuration: the plug-in "productinfo" of the closed configuration library.
class IServConfig : public IServPlugin {
 public:
  /// Owned by the plug-in, and valid as long as it. May be null.
  virtual const wchar_t* GetString(std::uint32_t id, const wchar_t* default_value) = 0;

 protected:
  ~IServConfig() = default;
};

using IProductInfo = IServConfig;
