#include "devkit/zvnc/Transfer.h"

#include <curl/curl.h>

#include <fstream>
#include <new>

#include "devkit/zvnc/status.h"

namespace zvnc {

namespace {

constexpr std::uint64_t default_limit = 64 * 1024 * 1024;
/// A cancellation wakes the wait; the bound only covers one that comes between two waits.
constexpr int longest_wait_milliseconds = 200;
constexpr std::uint32_t connect_milliseconds = 20000;

}  // namespace

struct Transfer::open_file {
  std::ifstream stream;
};

CurlUse::CurlUse() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
}
CurlUse::~CurlUse() {
  curl_global_cleanup();
}

void Cancellation::cancel() {
  const std::lock_guard guard(mutex_);
  cancelled_ = true;
  for (void* const transfer : running_) curl_multi_wakeup(transfer);
}

void Cancellation::enter(void* transfer) {
  const std::lock_guard guard(mutex_);
  running_.insert(transfer);
}

void Cancellation::leave(void* transfer) {
  const std::lock_guard guard(mutex_);
  running_.erase(transfer);
}

struct Transfer::Callbacks {
  static std::size_t on_answer(char* data, std::size_t, std::size_t size, void* self) {
    Transfer& transfer = *static_cast<Transfer*>(self);
    if (transfer.receiver_) return transfer.hand_out({data, size}) ? size : 0;
    if (transfer.answer_.size() + size > transfer.limit_) {
      transfer.too_large_ = true;
      return 0;
    }
    try {
      transfer.answer_.append(data, size);
    } catch (const std::bad_alloc&) {
      transfer.too_large_ = true;
      return 0;
    }
    return size;
  }

  static std::size_t on_read(char* buffer, std::size_t, std::size_t size, void* self) {
    std::ifstream& stream = static_cast<Transfer*>(self)->file_->stream;
    stream.read(buffer, static_cast<std::streamsize>(size));
    return stream.bad() ? CURL_READFUNC_ABORT : static_cast<std::size_t>(stream.gcount());
  }

  static int on_progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
    Transfer& transfer = *static_cast<Transfer*>(self);
    transfer.called_off_ = !transfer.progress_(static_cast<std::uint64_t>(sent));
    return transfer.called_off_ ? 1 : 0;
  }
};

Transfer::Transfer(const Route& route, const std::string& path, std::uint32_t timeout_milliseconds)
    : easy_(curl_easy_init()),
      multi_(curl_multi_init()),
      has_proxy_(!route.proxy.empty()),
      limit_(default_limit) {
  if (easy_ == nullptr || multi_ == nullptr) {
    curl_multi_cleanup(multi_);
    curl_easy_cleanup(easy_);
    throw std::bad_alloc();
  }
  const std::string url = route.server + path;
  curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy_, CURLOPT_PATH_AS_IS, 1L);  // a service may be called ".."
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout_milliseconds & 0x7FFFFFFF));
  curl_easy_setopt(
      easy_, CURLOPT_CONNECTTIMEOUT_MS,
      static_cast<long>((timeout_milliseconds != 0 ? timeout_milliseconds : connect_milliseconds) &
                        0x7FFFFFFF));
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &Callbacks::on_answer);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  if (!route.certificates.empty())
    curl_easy_setopt(easy_, CURLOPT_CAINFO, route.certificates.c_str());

  // Set even when empty: the environment's proxies are not this product's.
  curl_easy_setopt(easy_, CURLOPT_PROXY, has_proxy_ ? ("http://" + route.proxy).c_str() : "");
  curl_easy_setopt(easy_, CURLOPT_NOPROXY, "");
  if (!route.proxy_user.empty()) {
    curl_easy_setopt(easy_, CURLOPT_PROXYAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(easy_, CURLOPT_PROXYUSERNAME, route.proxy_user.c_str());
    curl_easy_setopt(easy_, CURLOPT_PROXYPASSWORD, route.proxy_password.c_str());
  }
  // Without it libcurl waits a second for a go-ahead that small servers don't give.
  headers_ = curl_slist_append(headers_, "Expect:");
}

Transfer::~Transfer() {
  curl_multi_cleanup(multi_);
  curl_easy_cleanup(easy_);
  curl_slist_free_all(headers_);
  delete file_;
}

void Transfer::add_header(const std::string& name, const std::string& value) {
  curl_slist* const longer = curl_slist_append(headers_, (name + ": " + value).c_str());
  if (longer == nullptr) throw std::bad_alloc();
  headers_ = longer;
}

void Transfer::post(std::string_view body) {
  add_header("Content-Type", "application/json");
  curl_easy_setopt(easy_, CURLOPT_POST, 1L);
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  // Never null: libcurl would then read the body from elsewhere.
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
}

bool Transfer::post_file(const std::filesystem::path& file,
                         std::function<bool(std::uint64_t)> progress) {
  std::error_code error;
  file_size_ = std::filesystem::file_size(file, error);
  if (error) return false;
  file_ = new open_file{std::ifstream(file, std::ios::binary)};
  if (!file_->stream.is_open()) return false;
  progress_ = std::move(progress);

  add_header("Content-Type", "application/octet-stream");
  curl_easy_setopt(easy_, CURLOPT_POST, 1L);
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(file_size_));
  curl_easy_setopt(easy_, CURLOPT_READFUNCTION, &Callbacks::on_read);
  curl_easy_setopt(easy_, CURLOPT_READDATA, this);
  curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &Callbacks::on_progress);
  curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  return true;
}

void Transfer::receive(std::function<bool(std::string_view)> receiver,
                       std::uint32_t silence_milliseconds) {
  receiver_ = std::move(receiver);
  longest_silence_ = std::chrono::milliseconds(silence_milliseconds);
}

bool Transfer::hand_out(std::string_view bytes) {
  long code = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &code);
  // The words of a refusal are not what is waited for; the status tells it all.
  if (code < 200 || code >= 300) return true;
  try {
    called_off_ = !receiver_(bytes);
  } catch (...) {
    called_off_ = true;
  }
  // Now, since the receiver may have taken its time.
  last_heard_ = std::chrono::steady_clock::now();
  return !called_off_;
}

std::uint32_t Transfer::run(Cancellation& cancellation) {
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
  curl_multi_add_handle(multi_, easy_);
  cancellation.enter(multi_);
  CURLcode result = CURLE_OK;
  int running = 1;
  bool is_silent = false;
  last_heard_ = std::chrono::steady_clock::now();
  while (running != 0 && !cancellation.is_cancelled()) {
    if (curl_multi_perform(multi_, &running) != CURLM_OK) break;
    is_silent = std::chrono::steady_clock::now() - last_heard_ > longest_silence_;
    if (is_silent) break;
    if (running != 0) curl_multi_poll(multi_, nullptr, 0, longest_wait_milliseconds, nullptr);
  }
  cancellation.leave(multi_);

  int left = 0;
  bool finished = false;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg == CURLMSG_DONE) {
      result = message->data.result;
      finished = true;
    }
  }
  curl_multi_remove_handle(multi_, easy_);
  if (!finished && is_silent) return status::timed_out;
  if (!finished) return cancellation.is_cancelled() ? status::cancelled : status::internal;
  return as_status(result);
}

std::uint32_t Transfer::as_status(int result) const {
  switch (result) {
    case CURLE_OK:
      return http_status();
    case CURLE_COULDNT_RESOLVE_HOST:
      return status::could_not_resolve;
    case CURLE_COULDNT_RESOLVE_PROXY:
      return status::proxy_not_resolved;
    case CURLE_COULDNT_CONNECT:
      // With a proxy in the way only the proxy is ever connected to.
      return has_proxy_ ? status::proxy_unreachable : status::could_not_connect;
    case CURLE_OPERATION_TIMEDOUT:
      return status::timed_out;
    case CURLE_GOT_NOTHING:
      return status::closed_unanswered;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return answer_.empty() ? status::closed_unanswered : status::closed_midway;
    case CURLE_PARTIAL_FILE:
      return status::closed_midway;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
      return status::not_trusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_CIPHER:
      return status::tls_failed;
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return status::bad_server;
    case CURLE_OUT_OF_MEMORY:
      return status::out_of_memory;
    case CURLE_WRITE_ERROR:
      if (called_off_) return status::cancelled;
      return too_large_ ? status::answer_too_large : status::internal;
    case CURLE_ABORTED_BY_CALLBACK:
      return called_off_ ? status::cancelled : status::no_such_file;
    case CURLE_PROXY:
      return status::proxy_failed;
    default:
      break;
  }
  long connect_code = 0;
  curl_easy_getinfo(easy_, CURLINFO_HTTP_CONNECTCODE, &connect_code);
  if (connect_code == 407) return status::proxy_refused;
  return connect_code >= 400 ? status::proxy_failed : status::internal;
}

std::uint32_t Transfer::http_status() const {
  long code = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &code);
  if (code >= 200 && code < 300) return status::ok;
  // To libcurl a proxy's refusal of a plain request is an answer like any other.
  if (code == 407) return status::proxy_refused;
  if (code == 413) return status::too_large;
  if (code == 502 || code == 504) return status::bad_gateway;
  if (code == 503) return status::unavailable;
  if (code >= 500) return status::server_error;
  return code >= 400 ? status::refused : status::unexpected_answer;
}

std::string escaped(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' ||
                       byte == '~' || byte == '/';
    if (plain) {
      result += character;
    } else {
      result += '%';
      result += digits[byte >> 4];
      result += digits[byte & 15];
    }
  }
  return result;
}

}  // namespace zvnc
