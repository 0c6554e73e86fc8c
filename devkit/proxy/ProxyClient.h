#pragma once

#include <string>

#include "_base/win_error.h"
#include "devkit/proxy/ProxyFile.h"
#include "devkit/proxy/channel.h"
#include "frame/IServPlugin.h"

namespace devkit {

/// What both proxy clients have in common: the life of a plug-in, and those of their operations
/// that are the same. Each operation that can fail does so on demand: with the status that is
/// wished for, or with false or null.
template <class Interface, class Observer>
class ProxyClient : public IServPlugin, public Interface {
 public:
  /// What ZvCreateObject is to answer in place of this object.
  std::uint32_t creation_failure() const { return settings().failure("ZvCreateObject"); }

  std::uint32_t Init(IServMain*) override { return file_.settings().failure("Init"); }
  std::uint32_t UnInit() override { return win_error::success; }
  std::uint32_t Start() override { return file_.settings().failure("Start"); }
  void Stop() override { file_.stop(); }

  bool add_observer(Observer* observer, std::uint64_t context) override {
    if (file_.settings().failure("add_observer") != 0) return false;
    return file_.observers().add(observer, context);
  }
  bool remove_observer(Observer* observer, std::uint64_t context) override {
    if (file_.settings().failure("remove_observer") != 0) return false;
    return file_.observers().remove(observer, context);
  }
  /// 87 without a channel.
  std::uint32_t initialize_communication(const char* channel) override {
    if (const std::uint32_t failure = file_.settings().failure("initialize_communication"))
      return failure;
    if (channel == nullptr || *channel == '\0') return win_error::invalid_parameter;
    remember_channel(channel);
    file_.start();
    return win_error::success;
  }
  void shutdown_communication() override {
    remember_channel("");
    file_.stop();
  }
  std::uint32_t get_enabled_state(bool* enabled) override {
    if (enabled == nullptr) return win_error::invalid_parameter;
    const ProxySettings settings = file_.settings();
    if (const std::uint32_t failure = settings.failure("get_enabled_state")) return failure;
    *enabled = settings.enabled;
    return win_error::success;
  }

 protected:
  ~ProxyClient() = default;

  ProxySettings settings() const { return file_.settings(); }
  static std::uint32_t give(const ProxySettings& settings, proxy_msgbus::proxy_info* info) {
    if (info == nullptr) return win_error::invalid_parameter;
    if (const std::uint32_t failure = settings.failure("get_proxy")) return failure;
    *info = settings.info;
    info->type = static_cast<std::int32_t>(settings.type);
    return win_error::success;
  }

 private:
  ProxyFile file_;
};

}  // namespace devkit
