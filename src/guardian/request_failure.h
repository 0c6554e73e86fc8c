#pragma once

#include <cstdint>
#include <string>

/// One remembered failure of a server.
struct request_failure {
  enum kind : std::int32_t { client_status = 0, reply_code = 1, detailed_reply_code = 2 };

  std::string value;       ///< decimal; a detailed one reads "code.detail"
  std::int32_t field = 0;  ///< a kind; kept as a number because it is stored as one
  std::string method;
};
