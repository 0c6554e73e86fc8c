#pragma once

// The cloud requests interfaces as a host sees them. Overloads are declared from the last slot to
// the first: the host's compiler lays adjacent overloads out in reverse.

#include "product/plugin.h"
#include "product/string.h"

namespace zv {

template <class Observer>
class iobservable {
 public:
  virtual bool add_observer(Observer observer, uint64_t context) = 0;
  virtual bool remove_observer(Observer observer, uint64_t context) = 0;
};

}  // namespace zv

namespace cloud {

using text = zv::StringT<char>;

enum class request_type : uint32_t { connect = 0, technology = 1 };
enum class proxy_target : uint32_t { connect = 0, technology = 1, per_service = 2 };

struct connect_source {
  text app_id;
  text device_id;
  text user_token;
};

struct connect_destination {
  text device_id;
  text app_id;
};

struct connect_request {
  text service;
  uint32_t timeout = 5000;
  request_type type = request_type::connect;
  text request_method;
  connect_source source;
  connect_destination destination;
  text message;
};

struct technology_request {
  text service;
  uint32_t timeout = 5000;
  request_type type = request_type::technology;
  text message;
};

struct upload_request {
  text service;
  uint32_t timeout = 5000;
  text path;
  text signature;
  text meta;
  bool option_b = false;
  bool option_a = false;
};

struct request_status {
  uint32_t error_type;
  uint32_t code;
};

struct request_reply {
  text text;
  int32_t code = 0;
};

struct proxy_settings {
  text host;
  uint32_t port = 0;
  text user;
  text password;
};

struct upload_progress {
  uint32_t state;
  bool flag;
  uint32_t value;
  text text;
};

class upload_observer {
 public:
  virtual void on_progress(const upload_progress& progress) = 0;
};

class ICloudConnectionObserver {
 public:
  virtual ~ICloudConnectionObserver() = default;
  virtual void OnNetworkAvailable() = 0;
};

class ICloudRequests : public zv::framework::servplugin<true> {
 public:
  virtual request_status resolve(const connect_request& request, request_reply& reply) = 0;
  virtual request_status resolve(const technology_request& request, request_reply& reply) = 0;
  virtual uint32_t resolve(const upload_request& request, upload_observer* observer) = 0;
  virtual uint32_t set_proxy(const proxy_settings& settings, proxy_target target) = 0;
  virtual uint32_t disable_proxy(proxy_target target) = 0;
  virtual bool is_cloud_up() = 0;
};

class ICloudRequestsCompatibility : public zv::framework::servplugin<true> {
 public:
  virtual request_status resolve(const connect_request& request, request_reply& reply) = 0;
  virtual request_status resolve(const technology_request& request, request_reply& reply) = 0;
  virtual uint32_t resolve(const upload_request& request, upload_observer* observer) = 0;
  virtual uint32_t set_proxy(const proxy_settings& settings, proxy_target target) = 0;
};

// What stands behind the pointer that IID_ICloudRequests gives: the way to its observers.
class observable_cloud_requests : public ICloudRequests,
                                  public zv::iobservable<ICloudConnectionObserver*> {};

}  // namespace cloud
