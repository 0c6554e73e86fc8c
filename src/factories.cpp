// The module's plug-ins. Each factory puts itself in front of the chain while the module is loaded,
// so the last one here is asked first; they stand in one file because only there is the order of
// their construction certain.

#include "cloud/requests.h"
#include "connect/ConnectRequestsServer.h"
#include "connect/connect_integrator_plugin.h"
#include "frame/zvFactory.h"
#include "push/push_service_server.h"

namespace {

zvFactory<connect_integrator_plugin> connect_integrator(L"connect_integrator");
zvFactory<cloud::requests> cloud_requests(L"cloud_requests");
zvFactory<cloud::connect::ConnectRequestsServer> connect_requests_server(
    L"connect_requests_server");
zvFactory<push_service_server> push_service_server_factory(L"push_service_server");

}  // namespace
