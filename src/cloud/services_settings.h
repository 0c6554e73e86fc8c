#pragma once

#include <iosfwd>
#include <map>
#include <string>

#include "_base/expected.h"
#include "frame/error_record.h"

namespace cloud {

/// Servers that replace the client library's default, by kind of request and by service.
struct services_settings {
  using servers = std::map<std::string, std::string, std::less<>>;

  servers categories;  ///< category to server
  servers services;    ///< service to server
};

using settings_error = error_record;

/// Reads the settings file beside the module. 1011 if it can't be opened, 1006 if its content is
/// invalid anywhere: there is no partial result.
stdext::expected<services_settings, settings_error> read_services_settings();

/// The content of such a file. Throws std::exception if it is invalid.
services_settings parse_services_settings(std::istream& content);

}  // namespace cloud
