#include "devkit/zvnc/status.h"

namespace zvnc::status {

const char* text(std::uint32_t number) noexcept {
  switch (number) {
    case ok:
      return "ok";
    case could_not_connect:
      return "could not connect to the server";
    case timed_out:
      return "timed out";
    case closed_unanswered:
      return "the server closed the connection without an answer";
    case closed_midway:
      return "the server closed the connection in the middle of its answer";
    case bad_gateway:
      return "a gateway got no answer from the server (HTTP 502 or 504)";
    case server_error:
      return "the server failed (HTTP 5xx)";
    case unavailable:
      return "the server is unavailable (HTTP 503)";
    case invalid_argument:
      return "invalid argument";
    case unknown_option:
      return "unknown option";
    case not_offered:
      return "not offered by the development client";
    case wrong_thread:
      return "not possible inside the instance's own callback";
    case cancelled:
      return "cancelled";
    case out_of_memory:
      return "out of memory";
    case bad_server:
      return "the server's text makes no address";
    case no_such_file:
      return "the file to upload can't be read";
    case internal:
      return "internal failure of the client";
    case could_not_resolve:
      return "the server's name is unknown";
    case proxy_not_resolved:
      return "the proxy's name is unknown";
    case proxy_unreachable:
      return "could not connect to the proxy";
    case proxy_refused:
      return "the proxy refuses the user or password (HTTP 407)";
    case proxy_failed:
      return "the proxy failed";
    case tls_failed:
      return "no TLS connection could be made";
    case not_trusted:
      return "the server's certificate isn't trusted";
    case refused:
      return "the server refused the request (HTTP 4xx)";
    case too_large:
      return "the request is too large for the server (HTTP 413)";
    case answer_too_large:
      return "the answer is too large for this client";
    case unexpected_answer:
      return "the server gave an HTTP status that means nothing here";
    default:
      return "unknown status";
  }
}

}  // namespace zvnc::status
