#include "devkit/host/GuardianQuerier.h"

#include "devkit/host/host_failure.h"

namespace devkit {

GuardianQuerier::GuardianQuerier(std::filesystem::path path)
    : path_(std::move(path)), watcher_(path_, read_file(path_), [this](const auto& content) {
        if (!content || content->empty()) return;
        observers_.notify([&](ICloudGuardianSettingsObserver& observer) {
          observer.OnSettingsChanged(content->c_str());
        });
      }) {}

void* GuardianQuerier::QueryInterface(const IID& id) {
  return id == IID_ICloudGuardianQuerier || id == IID_IZvBaseInterface ? this : nullptr;
}

void GuardianQuerier::get_settings(zv::StringT<char>& settings) {
  settings = read_file(path_).value_or("").c_str();
}

bool GuardianQuerier::add_observer(ICloudGuardianSettingsObserver* observer,
                                   std::uint64_t context) {
  return host_failure("add_observer") == 0 && observers_.add(observer, context);
}

bool GuardianQuerier::remove_observer(ICloudGuardianSettingsObserver* observer,
                                      std::uint64_t context) {
  return observers_.remove(observer, context);
}

}  // namespace devkit
