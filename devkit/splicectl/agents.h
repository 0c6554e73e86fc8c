#pragma once

#include <string>

#include "devkit/host/HostOptions.h"
#include "devkit/splicectl/command.h"

namespace devkit {

/// The choice of the Product Agents that a host process offers, in words.
inline void add_agent_option(CLI::App& app, std::string& agent) {
  app.add_option("--agent", agent,
                 "Who knows the user: this process (local), another one (client), both, or none")
      ->check(CLI::IsMember({"local", "client", "both", "none"}))
      ->envname("SPLICE_AGENT")
      ->capture_default_str();
}

inline HostOptions with_agent(const std::string& agent, bool alone) {
  HostOptions options;
  options.alone = alone;
  options.product_agent = agent == "local" || agent == "both";
  options.product_agent_client = agent == "client" || agent == "both";
  return options;
}

}  // namespace devkit
