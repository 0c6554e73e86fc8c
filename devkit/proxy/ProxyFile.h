#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "cloud/proxy_msgbus.h"
#include "devkit/common/FileWatcher.h"
#include "devkit/common/Observers.h"
#include "devkit/proxy/ProxySettings.h"

namespace devkit {

/// The settings that both proxy clients give, from the file that the environment's SPLICE_PROXY
/// names, or proxy.json beside the library. A file that says nothing sensible is told about on
/// standard error, once for each content, and means "no proxy". Any thread.
class ProxyFile {
 public:
  using Observer = ProxyManager::IProxyMgrEvents;

  ProxyFile();

  // Start and stop are for one thread at a time.
  /// From here until `stop` the observers hear of each change, on a thread of this object's own.
  void start();
  /// No call begins after it. Waits for a running one, except on that call's own thread, where it
  /// is for good.
  void stop();

  ProxySettings settings() const;
  Observers<Observer>& observers() noexcept { return observers_; }

 private:
  void take(const std::optional<std::string>& content);

  const std::filesystem::path path_;
  mutable std::mutex mutex_;
  std::optional<std::string> content_;
  ProxySettings settings_;
  Observers<Observer> observers_;
  std::unique_ptr<FileWatcher> watcher_;
};

}  // namespace devkit
