#pragma once

#include <cstdint>

/// The status numbers of the client stand-in, each failure with its own. The first group says that
/// the server failed, and counts as that to whoever watches over servers; the others say that the
/// request, the machine or the way to the server is at fault.
namespace zvnc::status {

inline constexpr std::uint32_t ok = 0;

// The server failed.
inline constexpr std::uint32_t could_not_connect = 20011;
inline constexpr std::uint32_t timed_out = 20012;
inline constexpr std::uint32_t closed_unanswered =
    20013;                                             ///< the connection ended before any answer
inline constexpr std::uint32_t closed_midway = 20014;  ///< it ended inside the answer
inline constexpr std::uint32_t bad_gateway = 20029;    ///< HTTP 502 or 504
inline constexpr std::uint32_t server_error = 20031;   ///< HTTP 5xx but the others named
inline constexpr std::uint32_t unavailable = 20032;    ///< HTTP 503

// The call is wrong.
inline constexpr std::uint32_t invalid_argument = 20001;  ///< a null, a dead instance, a bad value
inline constexpr std::uint32_t unknown_option = 20002;
inline constexpr std::uint32_t not_offered = 20003;   ///< by the development client
inline constexpr std::uint32_t wrong_thread = 20004;  ///< an instance can't end in its own callback
inline constexpr std::uint32_t cancelled =
    20005;  ///< the instance ended meanwhile, or the callback said no
inline constexpr std::uint32_t out_of_memory = 20006;
inline constexpr std::uint32_t bad_server = 20007;    ///< the server's text makes no address
inline constexpr std::uint32_t no_such_file = 20008;  ///< the file to upload can't be read
inline constexpr std::uint32_t internal = 20009;      ///< libcurl failed in a way not named here

// The way there is at fault.
inline constexpr std::uint32_t could_not_resolve = 20041;
inline constexpr std::uint32_t proxy_not_resolved = 20042;
inline constexpr std::uint32_t proxy_unreachable = 20043;
inline constexpr std::uint32_t proxy_refused = 20044;  ///< HTTP 407
inline constexpr std::uint32_t proxy_failed = 20045;
inline constexpr std::uint32_t tls_failed = 20046;
inline constexpr std::uint32_t not_trusted = 20047;  ///< the server's certificate

// The server answered, but not with what was asked for.
inline constexpr std::uint32_t refused = 20061;            ///< HTTP 4xx but the others named
inline constexpr std::uint32_t too_large = 20062;          ///< the request, to the server: HTTP 413
inline constexpr std::uint32_t answer_too_large = 20063;   ///< the answer, to this client
inline constexpr std::uint32_t unexpected_answer = 20064;  ///< HTTP 1xx or 3xx

/// A few words on a number, never null.
const char* text(std::uint32_t number) noexcept;

}  // namespace zvnc::status
