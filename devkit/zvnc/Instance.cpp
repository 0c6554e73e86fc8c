#include "devkit/zvnc/Instance.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "devkit/common/defaults.h"
#include "devkit/common/os.h"
#include "devkit/common/settings_file.h"
#include "devkit/common/text.h"
#include "devkit/zvnc/status.h"

namespace zvnc {

namespace {

/// For a request that names no time limit.
constexpr std::uint32_t longest_milliseconds = 60000;
constexpr std::uint32_t health_timeout_milliseconds = 2000;
constexpr std::uint64_t default_answer_limit = 64 * 1024 * 1024;

/// What an upload's callback is told.
enum upload_state : std::uint32_t { prepared, connecting, sending, sent, done };

std::string with_scheme(std::string server, const char* scheme) {
  if (server.find("://") == std::string::npos) server = scheme + server;
  while (!server.empty() && server.back() == '/') server.pop_back();
  return server;
}

std::string text_of(const nlohmann::json& settings, const char* key) {
  const auto found = settings.find(key);
  return found != settings.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::uint64_t number_of(const nlohmann::json& settings, const char* variable, const char* key,
                        std::uint64_t otherwise) {
  if (const auto value = devkit::os::environment(variable)) {
    return std::strtoull(value->c_str(), nullptr, 10);
  }
  const auto found = settings.find(key);
  return found != settings.end() && found->is_number_unsigned() ? found->get<std::uint64_t>()
                                                                : otherwise;
}

/// Turns bytes into steps of a whole percent, each told once.
class ProgressReport {
 public:
  ProgressReport(cirrel_upload_callback callback, void* context)
      : callback_(callback), context_(context) {}

  void set_size(std::uint64_t size) { size_ = size; }

  bool tell(upload_state state, std::uint32_t percent, std::uint64_t detail,
            const std::string& text) {
    if (callback_ == nullptr) return true;
    const cirrel_upload_status status = {state, percent, detail, text.c_str()};
    return callback_(&status, context_) == 0;
  }

  bool on_bytes(std::uint64_t bytes) {
    const auto percent =
        size_ == 0 ? 100u : static_cast<std::uint32_t>(std::min(bytes, size_) * 100 / size_);
    if (bytes == 0 || percent == last_percent_) return true;
    last_percent_ = percent;
    const std::string text = std::to_string(bytes) + " of " + std::to_string(size_) + " bytes";
    if (bytes < size_) return tell(sending, percent, 0, text);
    return tell(sending, percent, 0, text) && tell(sent, 100, 0, "all sent");
  }

 private:
  cirrel_upload_callback callback_;
  void* context_;
  std::uint64_t size_ = 0;
  std::uint32_t last_percent_ = 0;
};

}  // namespace

Defaults Defaults::read() {
  const nlohmann::json settings = devkit::read_settings(devkit::os::own_folder() / "zvnc.json");
  Defaults defaults;
  defaults.server = devkit::os::environment("SPLICE_CLOUD").value_or(text_of(settings, "server"));
  if (defaults.server.empty()) defaults.server = devkit::default_cloud;
  defaults.server = with_scheme(defaults.server, "http://");
  defaults.certificates =
      devkit::os::environment("SPLICE_CA").value_or(text_of(settings, "certificates"));
  defaults.health_milliseconds = static_cast<std::uint32_t>(
      number_of(settings, "SPLICE_HEALTH_MS", "health_milliseconds", 500));
  defaults.answer_limit =
      number_of(settings, "SPLICE_ANSWER_LIMIT", "answer_limit", default_answer_limit);
  const auto small = [&](const char* variable, const char* key, std::uint32_t otherwise) {
    return std::max(1u, static_cast<std::uint32_t>(number_of(settings, variable, key, otherwise)));
  };
  defaults.pushes = {small("SPLICE_PUSH_THREADS", "push_threads", 1),
                     small("SPLICE_PUSH_RETRY_MS", "push_retry_milliseconds", 100),
                     small("SPLICE_PUSH_SILENCE_MS", "push_silence_milliseconds", 10000)};
  return defaults;
}

Instance::Instance()
    : defaults_(Defaults::read()),
      pushes_([this] { return route(settings()); }, defaults_.pushes) {}

Instance::~Instance() {
  close();
}

std::uint32_t Instance::close() {
  if (watcher_id_ == std::this_thread::get_id() || pushes_.is_own_thread())
    return status::wrong_thread;
  stop_watching();
  // Before the pushes: one of their callbacks may be waiting for an answer.
  cancellation_.cancel();
  pushes_.stop();
  return status::ok;
}

Instance::Settings Instance::settings() const {
  const std::lock_guard guard(mutex_);
  return settings_;
}

Route Instance::route(const Settings& settings) const {
  const bool is_local = !settings.local_server.empty();
  const Proxy& proxy = is_local ? settings.local_proxy : settings.proxy;
  const char* const scheme = settings.ssl != 0 ? "https://" : "http://";
  return {is_local ? with_scheme(settings.local_server, scheme) : defaults_.server, proxy.address,
          proxy.user, proxy.password, defaults_.certificates};
}

std::uint32_t Instance::ask(const cirrel_ask_request& request, std::string& answer) {
  Transfer transfer(route(settings()), "/services/" + escaped(request.service),
                    request.timeout != 0 ? request.timeout : longest_milliseconds);
  transfer.add_header("X-Splice-Timeout", std::to_string(request.timeout));
  transfer.limit_answer(defaults_.answer_limit);
  transfer.post({request.data, request.size});
  const std::uint32_t result = transfer.run(cancellation_);
  if (result == status::ok) answer = transfer.answer();
  return result;
}

std::uint32_t Instance::upload(const cirrel_upload_request& request,
                               cirrel_upload_callback callback, void* context) {
  const Settings now = settings();
  Transfer transfer(route(now), "/upload/" + escaped(request.service),
                    now.upload_timeout != 0 ? now.upload_timeout : longest_milliseconds);
  transfer.add_header("X-Splice-Option-14", std::to_string(now.upload_a));
  transfer.add_header("X-Splice-Option-20", std::to_string(now.upload_b));
  if (request.signature != nullptr)
    transfer.add_header("X-Splice-Signature", escaped(request.signature));
  if (request.meta != nullptr) transfer.add_header("X-Splice-Meta", escaped(request.meta));

  ProgressReport report(callback, context);
  const std::filesystem::path path = devkit::to_path(request.path);
  if (!transfer.post_file(path, [&](std::uint64_t bytes) { return report.on_bytes(bytes); })) {
    return status::no_such_file;
  }
  report.set_size(transfer.file_size());
  if (!report.tell(prepared, 0, 0, devkit::path_text(path.filename()))) return status::cancelled;
  if (!report.tell(connecting, 0, 0, "connecting")) return status::cancelled;
  const std::uint32_t result = transfer.run(cancellation_);
  if (result == status::ok) report.tell(done, 100, 1, transfer.answer());
  return result;
}

std::uint32_t Instance::register_for_pushes(const PushTarget& target, const std::string& token,
                                            const cirrel_push_callbacks& callbacks) {
  return pushes_.add(target, callbacks, token, cancellation_);
}

std::uint32_t Instance::set_number(std::uint32_t option, std::uint32_t value) {
  {
    const std::lock_guard guard(mutex_);
    switch (option) {
      case ZVCIRREL_OPT_CLOUD_INIT:
        settings_.cloud_init = value;
        break;
      case ZVCIRREL_OPT_UPLOAD_A:
        settings_.upload_a = value;
        break;
      case ZVCIRREL_OPT_UPLOAD_B:
        settings_.upload_b = value;
        break;
      case ZVCIRREL_OPT_UPLOAD_TIMEOUT:
        settings_.upload_timeout = value;
        break;
      case ZVCIRREL_OPT_SSL:
        settings_.ssl = value;
        break;
      default:
        return status::unknown_option;
    }
  }
  if (option == ZVCIRREL_OPT_SSL) pushes_.check_route();
  if (option != ZVCIRREL_OPT_CLOUD_INIT) return status::ok;
  if (watcher_id_ == std::this_thread::get_id()) return status::wrong_thread;
  if (value != 0) {
    start_watching();
  } else {
    stop_watching();
  }
  return status::ok;
}

std::uint32_t Instance::set_local_server(const char* server) {
  if (server == nullptr) return status::invalid_argument;
  {
    const std::lock_guard guard(mutex_);
    settings_.local_server = server;
  }
  pushes_.check_route();
  return status::ok;
}

std::uint32_t Instance::set_proxy(std::uint32_t option, const char* proxy, const char* user,
                                  const char* password) {
  if (proxy == nullptr || user == nullptr || password == nullptr) return status::invalid_argument;
  {
    const std::lock_guard guard(mutex_);
    (option == ZVCIRREL_OPT_PROXY ? settings_.proxy : settings_.local_proxy) = {proxy, user,
                                                                                password};
  }
  pushes_.check_route();
  return status::ok;
}

std::uint32_t Instance::get_number(std::uint32_t option, std::uint32_t& value) {
  const Settings now = settings();
  switch (option) {
    case ZVCIRREL_OPT_CLOUD_STATUS:
      value = is_up_ ? 0 : 1;
      return status::ok;
    case ZVCIRREL_OPT_CLOUD_INIT:
      value = now.cloud_init;
      return status::ok;
    case ZVCIRREL_OPT_UPLOAD_A:
      value = now.upload_a;
      return status::ok;
    case ZVCIRREL_OPT_UPLOAD_B:
      value = now.upload_b;
      return status::ok;
    case ZVCIRREL_OPT_UPLOAD_TIMEOUT:
      value = now.upload_timeout;
      return status::ok;
    case ZVCIRREL_OPT_SSL:
      value = now.ssl;
      return status::ok;
    default:
      return status::unknown_option;
  }
}

void Instance::start_watching() {
  const std::lock_guard guard(watcher_mutex_);
  if (watcher_.joinable()) return;
  stop_ = false;
  watching_ = std::make_unique<Cancellation>();
  watcher_ = std::thread([this] {
    watcher_id_ = std::this_thread::get_id();
    watch();
    watcher_id_ = std::thread::id();
  });
}

void Instance::stop_watching() {
  const std::lock_guard guard(watcher_mutex_);
  if (!watcher_.joinable()) return;
  {
    const std::lock_guard stop_guard(stop_mutex_);
    stop_ = true;
  }
  stop_changed_.notify_all();
  watching_->cancel();
  watcher_.join();
  is_up_ = false;
}

void Instance::watch() {
  std::unique_lock lock(stop_mutex_);
  while (!stop_) {
    lock.unlock();
    const bool reachable = is_reachable();
    const bool was_up = is_up_.exchange(reachable);
    if (reachable && !was_up) callbacks_.call();
    lock.lock();
    stop_changed_.wait_for(lock, std::chrono::milliseconds(defaults_.health_milliseconds),
                           [&] { return stop_; });
  }
}

bool Instance::is_reachable() {
  try {
    Transfer transfer(route(settings()), "/health", health_timeout_milliseconds);
    return transfer.run(*watching_) == status::ok;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace zvnc
