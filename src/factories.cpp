// The module's plug-ins. Each factory puts itself in front of the chain while the module is loaded,
// so the last one here is asked first; they stand in one file because only there is the order of
// their construction certain.

#include "cloud/requests.h"
#include "frame/zvFactory.h"

namespace {

zvFactory<cloud::requests> cloud_requests(L"cloud_requests");

}  // namespace
