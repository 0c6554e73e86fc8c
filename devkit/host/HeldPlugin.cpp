#include "devkit/host/HeldPlugin.h"

#include "_base/win_error.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

std::string advice(std::uint32_t status) {
  switch (status) {
    case win_error::gen_failure:
      return "most likely " + os::library_name("zvnc") + " is missing beside the module";
    case win_error::not_found:
      return "the host lacks a plug-in or a face that it needs; a Product Agent?";
    default:
      return "look into the log (SPLICE_LOG=-)";
  }
}

}  // namespace

HeldPlugin::HeldPlugin(PluginHost& host, const char* name, const IID& id)
    : host_(host), name_(to_wide(name)) {
  const std::uint32_t status = host_.get_plugin(name_.c_str(), id, &face_);
  if (status == win_error::success) return;
  throw host_error(std::string("the module's plug-in \"") + name + "\" did not start, status " +
                   std::to_string(status) + "; " + advice(status));
}

}  // namespace devkit
