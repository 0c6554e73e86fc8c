#pragma once

#include <string>

namespace devkit {

/// The channel of this process's proxy client, for SpliceProxyChannel to tell; empty: no
/// communication. Any thread.
void remember_channel(const std::string& channel);
std::string remembered_channel();

}  // namespace devkit
