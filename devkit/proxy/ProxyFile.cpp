#include "devkit/proxy/ProxyFile.h"

#include <cstdio>
#include <stdexcept>

#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

std::filesystem::path settings_path() {
  const auto name = os::environment("SPLICE_PROXY");
  return name && !name->empty() ? to_path(*name) : os::own_folder() / "proxy.json";
}

}  // namespace

ProxyFile::ProxyFile() : path_(settings_path()) {
  take(read_file(path_));
}

void ProxyFile::start() {
  if (watcher_ != nullptr) return;
  // From the content that was taken: what has changed since then is a change.
  watcher_ = std::make_unique<FileWatcher>(path_, content_, [this](const auto& content) {
    take(content);
    observers_.notify([](Observer& observer) { observer.OnProxySettingsChanged(); });
  });
}

void ProxyFile::stop() {
  if (watcher_ != nullptr && watcher_->stop()) watcher_.reset();
}

ProxySettings ProxyFile::settings() const {
  const std::lock_guard guard(mutex_);
  return settings_;
}

void ProxyFile::take(const std::optional<std::string>& content) {
  ProxySettings settings;
  try {
    settings = read_proxy_settings(content);
  } catch (const std::invalid_argument& wrong) {
    std::fprintf(stderr, "%s: %s. No proxy is used until the file is mended.\n",
                 path_text(path_).c_str(), wrong.what());
  }
  const std::lock_guard guard(mutex_);
  content_ = content;
  settings_ = settings;
}

}  // namespace devkit
