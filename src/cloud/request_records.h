#pragma once

#include <cstddef>
#include <cstdint>

#include "_base/StringT.h"

/// What a caller hands in and gets back. These records cross the module's edge, so their layout is
/// pinned. Each owns its texts, all UTF-8; nobody tells a null text from an empty one.
namespace cloud {

using text = zv::StringT<char>;

enum class request_type : std::uint32_t { connect = 0, technology = 1 };

/// Whose proxy is meant. Any other value is treated as per_service.
enum class proxy_target : std::uint32_t { connect = 0, technology = 1, per_service = 2 };

/// The identity of the sender.
struct connect_source {
  text app_id;
  text device_id;
  text user_token;
};
static_assert(sizeof(connect_source) == 24 && offsetof(connect_source, user_token) == 16);

/// Another device, where a request is meant for one. Note the order, which is not that of the
/// source.
struct connect_destination {
  text device_id;
  text app_id;
};
static_assert(sizeof(connect_destination) == 16 && offsetof(connect_destination, app_id) == 8);

/// A method call in the name of a user and device; the resolver builds its envelope.
struct connect_request {
  text service;               ///< names the circuit as well, and perhaps a server of its own
  std::uint32_t timeout = 0;  ///< handed to the client library unchanged
  request_type type = request_type::connect;
  text request_method;
  connect_source source;
  connect_destination destination;
  text message;  ///< a JSON object, spread over "params"; may be empty
};
static_assert(offsetof(connect_request, timeout) == 8 && offsetof(connect_request, type) == 12);
static_assert(offsetof(connect_request, request_method) == 16 &&
              offsetof(connect_request, source) == 24);
static_assert(offsetof(connect_request, destination) == 48 &&
              offsetof(connect_request, message) == 64);
static_assert(sizeof(connect_request) == 72);

/// A body that the caller wrote, sent byte for byte.
struct technology_request {
  text service;
  std::uint32_t timeout = 0;
  request_type type = request_type::technology;
  text message;
};
static_assert(offsetof(technology_request, timeout) == 8 &&
              offsetof(technology_request, type) == 12);
static_assert(offsetof(technology_request, message) == 16 && sizeof(technology_request) == 24);

struct upload_request {
  text service;
  std::uint32_t timeout = 0;
  text path;       ///< of the file; an empty one is refused
  text signature;  ///< may be empty, and reaches the library as null then
  text meta;       ///< the same
  std::uint8_t option_b = 0;
  std::uint8_t option_a = 0;
};
static_assert(offsetof(upload_request, timeout) == 8 && offsetof(upload_request, path) == 16);
static_assert(offsetof(upload_request, signature) == 24 && offsetof(upload_request, meta) == 32);
static_assert(offsetof(upload_request, option_b) == 40 && offsetof(upload_request, option_a) == 41);
static_assert(sizeof(upload_request) == 48);

/// What became of a request. An error of the server isn't one of these: it is in the reply.
struct request_status {
  std::uint32_t error_type = 0;  ///< 0: none; 1: on our side; 2: of the client library
  std::uint32_t code = 0;        ///< 0; a Windows error number; the library's own number
};
static_assert(sizeof(request_status) == 8);

/// The answer. Untouched unless the status is 0, 0.
struct request_reply {
  zv::StringT<char> text;  ///< the reply as JSON text
  std::int32_t code = 0;   ///< the error of the server, 0 for none
};
static_assert(offsetof(request_reply, code) == 8 && sizeof(request_reply) == 16);

struct proxy_settings {
  text host;               ///< must not be empty
  std::uint32_t port = 0;  ///< at most 65535
  text user;
  text password;
};
static_assert(offsetof(proxy_settings, port) == 8 && offsetof(proxy_settings, user) == 16);
static_assert(sizeof(proxy_settings) == 32);

struct upload_progress {
  std::uint32_t state = 0;  ///< 0 to 4
  std::uint8_t flag = 0;
  std::uint32_t value = 0;
  zv::StringT<char> text;
};
static_assert(offsetof(upload_progress, flag) == 4 && offsetof(upload_progress, value) == 8);
static_assert(offsetof(upload_progress, text) == 16 && sizeof(upload_progress) == 24);

}  // namespace cloud
