#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "_base/waiting.h"
#include "guardian/file_lock.h"
#include "guardian/services_storage.h"
#include "support/EventsRecorder.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"
#include "support/guardian_inside.h"

namespace support {

/// A storage on a folder of its own. The test brings the watcher's news itself, where it doesn't
/// wait for the real ones.
class StorageTest : public testing::Test {
 protected:
  StorageTest() : events(folder.path()) {}

  cloud::guardian::services_storage& make_storage() {
    storage = std::make_unique<cloud::guardian::services_storage>(GuardianFolder::paths());
    return *storage;
  }
  /// The text of the exception that kept the storage from being built.
  std::string failure_to_make() {
    try {
      make_storage();
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  bool refresh(const std::string& service = "svc") {
    const std::wstring file = folder.lock_file().wstring();
    cloud::guardian::file_lock lock(file);
    const std::lock_guard guard(lock);
    return storage->refresh_service(service);
  }
  void save() {
    const std::wstring file = folder.lock_file().wstring();
    cloud::guardian::file_lock lock(file);
    const std::lock_guard guard(lock);
    storage->save();
  }
  bool reload(const guardian_config& config) {
    const std::wstring file = folder.lock_file().wstring();
    cloud::guardian::file_lock lock(file);
    const std::lock_guard guard(lock);
    return storage->reload_config(config);
  }
  const service_info& circuit(const std::string& service = "svc") const {
    return storage->circuits().at(service);
  }
  const guardian_config& config() { return *(config_ = config_in(*storage)); }

  void tell_of_services() { storage->on_modified(L"folder", L"services.json"); }
  void tell_of_cache() { storage->on_modified(L"folder", L"cloud_guardian_settings_cache.json"); }

  /// True when the watcher has reported. Until then the services file is written again and again,
  /// since what happens before the watcher has opened the folder isn't reported.
  bool watcher_reports() {
    const std::string content = GuardianFolder::content(folder.services_file());
    return waiting::until([&] {
      folder.write_services(content);
      return count_lines(log, 16, L"services cache modified") != 0;
    });
  }

  RecordingLog log;
  GuardianFolder folder;
  EventsRecorder events;
  std::unique_ptr<cloud::guardian::services_storage> storage;

 private:
  std::shared_ptr<const guardian_config> config_;
};

}  // namespace support
