#pragma once

#include <memory>
#include <utility>

#include "frame/iplugin_releaser.h"

/// Owner of a borrowed plug-in: returns it when it ends. One thread at a time.
template <class T>
class plugin_handle {
 public:
  plugin_handle() noexcept = default;
  plugin_handle(std::unique_ptr<zv::framework::details::iplugin_releaser> releaser,
                T* plugin) noexcept
      : releaser_(std::move(releaser)), plugin_(plugin) {}
  plugin_handle(plugin_handle&& other) noexcept
      : releaser_(std::move(other.releaser_)), plugin_(std::exchange(other.plugin_, nullptr)) {}
  plugin_handle& operator=(plugin_handle&& other) noexcept {
    if (this != &other) {
      reset();
      releaser_ = std::move(other.releaser_);
      plugin_ = std::exchange(other.plugin_, nullptr);
    }
    return *this;
  }
  ~plugin_handle() { reset(); }

  /// Releases the plug-in first, and its library with the releaser after it.
  void reset() noexcept {
    if (releaser_ != nullptr && plugin_ != nullptr) releaser_->release();
    plugin_ = nullptr;
    releaser_.reset();
  }

  /// Releases the plug-in but keeps its releaser, and so its library, until the next assignment or
  /// the handle's end.
  void release_plugin() noexcept {
    if (std::exchange(plugin_, nullptr) != nullptr && releaser_ != nullptr) releaser_->release();
  }

  /// The interface, not to be used after the handle let go; null on an empty handle.
  T* get() const noexcept { return plugin_; }
  T* operator->() const noexcept { return plugin_; }
  explicit operator bool() const noexcept { return plugin_ != nullptr; }

 private:
  std::unique_ptr<zv::framework::details::iplugin_releaser> releaser_;
  T* plugin_ = nullptr;
};
