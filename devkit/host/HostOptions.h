#pragma once

namespace devkit {

/// What a host process offers the module.
struct HostOptions {
  /// The plug-ins get no host at all.
  bool alone = false;
  /// The plug-in "productagent": the process knows the user itself.
  bool product_agent = false;
  /// The plug-in "productagentcommclient": another process knows the user.
  bool product_agent_client = false;
  /// Loads the bus library if it lies in the module's folder. The module only ever finds it.
  bool bus = true;
};

}  // namespace devkit
