#pragma once

// What "connect_integrator" offers to a host.

#include "product/agent.h"
#include "product/bus.h"
#include "product/cloud.h"

struct auth_data {
  cloud::text device_id;
  cloud::text user_token;
};

class IAuthDataProvider {
 public:
  virtual uint32_t GetAuthData(auth_data& data) = 0;
};

class IConnectRequests : public zv::iobservable<cloud::ICloudConnectionObserver*> {
 public:
  virtual cloud::request_status resolve(const cloud::connect_request& request,
                                        cloud::request_reply& reply, bool fill_source) = 0;
  virtual bool is_cloud_up() = 0;
};

class IConnectRequestsCompatibility {
 public:
  virtual cloud::request_status resolve(const cloud::connect_request& request,
                                        cloud::request_reply& reply) = 0;
};

// Both, as they stand in the one object.
class both_connect_requests : public IConnectRequests, public IConnectRequestsCompatibility {};

class IConnectIntegrator : public zv::framework::servplugin<true> {};

// The plug-in's facets, as they stand in the object.
class connect_integrator : public IConnectIntegrator,
                           public IAuthDataProvider,
                           public IProductAgentEvents,
                           public ibus_observer {};

// The plug-in "push_service_server" likewise.
class observing_plugin : public zv::framework::servplugin<false>, public ibus_observer {};
