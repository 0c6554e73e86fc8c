#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/library.h"

namespace support {

/// The recording plug-in's library (tests/loadable/plugin_probe or a copy) in this process. Holds
/// one reference to it, so that the record outlives the plug-in.
class PluginProbe {
 public:
  /// Loads the library, forgets what it recorded and was told.
  explicit PluginProbe(const std::filesystem::path& path);
  PluginProbe(const PluginProbe&) = delete;
  PluginProbe& operator=(const PluginProbe&) = delete;
  ~PluginProbe();

  /// "create <name> <id>", "Init without a host", "Start", "QueryInterface <id>", "GetString <id>
  /// <default>", "Stop", "UnInit", "destroy <name>", in the order of the calls.
  std::vector<std::wstring> steps() const;

  /// `step` (create, Init, Start, QueryInterface, UnInit) fails from now on.
  void fail(const wchar_t* step, std::uint32_t number);
  /// What GetString answers for `id` in plug-ins made from now on, which may be null; the default
  /// it was given unless this was called.
  void set_string(std::uint32_t id, const wchar_t* text);

 private:
  template <class Function>
  Function symbol(const char* name) const;

  platform::module_handle library_;
};

}  // namespace support
