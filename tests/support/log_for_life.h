#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "_base/abi.h"
#include "support/LogRecorder.h"
#include "support/loadable.h"

namespace support {

/// The log is on from the making of the plug-in to its end, whatever becomes of its life between:
/// here an Init without a host, which gives `status`.
template <class Plugin>
void expect_log_for_life(std::uint32_t status) {
  const LogRecorder recorder(loadable(L"log"));
  const auto ends = [&] {
    const auto names = recorder.call_names();
    return std::count(names.begin(), names.end(), "LogRemoveModule");
  };
  auto* const plugin = new Plugin();
  EXPECT_EQ(plugin->Init(nullptr), status);
  plugin->UnInit();
  EXPECT_FALSE(recorder.lines().empty());
  EXPECT_EQ(ends(), 0);
  msvc_abi::destroy(plugin);
  EXPECT_EQ(ends(), 1);
}

}  // namespace support
