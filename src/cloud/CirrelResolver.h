#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "_base/zvjson/zvjson.h"
#include "cloud/IRequestResolver.h"
#include "cloud/cirrel_client.h"
#include "cloud/server_answer.h"
#include "cloud/services_settings.h"

namespace cloud {

/// Speaks to the cloud-client library. A service that the settings give a server has a client
/// instance to itself; everything else shares two, one for each kind of request.
///
/// Locks: who needs both takes `instances_mutex` first. The library is called under
/// `proxies_mutex` only while an instance is new, and then under both, so that no change of proxy
/// can slip between its building and its first use.
class CirrelResolver final : public IRequestResolver {
 public:
  /// The shared instance, which must outlive the resolver. Reads the services settings.
  CirrelResolver(cirrel_client* client, void* instance);
  ~CirrelResolver() override;

  std::uint32_t resolve(const upload_request& request, upload_observer* observer) override;
  request_status resolve(const technology_request& request, request_reply& reply) override;
  request_status resolve(const connect_request& request, request_reply& reply) override;
  std::uint32_t set_proxy(const proxy_settings& settings, proxy_target target) override;
  std::uint32_t disable_proxy(proxy_target target) override;

 private:
  struct client_pair {
    cirrel_client* client = nullptr;
    void* instance = nullptr;

    bool is_complete() const noexcept { return client != nullptr && instance != nullptr; }
  };

  /// Sets the category's server, or logs that it has none.
  void configure_category(const char* category, client_pair pair) const;
  /// Best effort: an instance that refuses its server goes on with the default one.
  static void configure_instance(client_pair pair, const std::string& server,
                                 const std::string& name);
  /// 0 with the service's own instance, built on first use; 1168 for a service without an entry;
  /// 1359 if its instance can't be made this time.
  std::uint32_t get_service_instance(std::string_view service, client_pair& pair);
  /// The service's own instance, or the fallback for a service without one. False if it can't be
  /// had.
  bool choose_instance(const text& service, client_pair fallback, client_pair& pair);

  /// The envelope as text, empty if `message` isn't JSON or the envelope can't be written.
  std::string generate_request_json(const connect_source& source, const text& method,
                                    const text& message, const connect_destination& destination);
  request_status ask(client_pair fallback, const text& service, std::uint32_t timeout,
                     std::string_view body, answer_mode mode, request_reply& reply);
  /// The answer as a value, which may be empty. Wipes the library's buffer before giving it back.
  zv::Json convert(cirrel_response* response, answer_mode mode);
  request_status parse_server_response(cirrel_response* response, answer_mode mode,
                                       request_reply& reply);

  /// Calls `apply(pair, option)` for every instance that stands for `target`, with the option that
  /// sets its proxy. The last number that isn't 0.
  template <class Apply>
  std::uint32_t for_each_instance(proxy_target target, Apply apply);
  static std::uint32_t apply_proxy(const proxy_settings& settings, client_pair pair,
                                   std::uint32_t option);
  static std::uint32_t upload_cbk(const cirrel_upload_status* status, void* context);

  /// Whether the settings name a server for the category; an empty name is none.
  bool has_server(std::string_view category) const;

  client_pair connect_pair;     ///< not owned
  client_pair technology_pair;  ///< owned
  std::atomic<std::int32_t> next_request_id = 1;
  services_settings::servers categories;
  services_settings::servers services;
  std::map<std::string, client_pair, std::less<>> instances;  ///< incomplete: could not be made yet
  std::mutex instances_mutex;
  /// By target: the first settings since the last disabling.
  std::map<std::uint32_t, proxy_settings> proxies;
  std::mutex proxies_mutex;
};

}  // namespace cloud
