#pragma once

#include <string>

namespace devkit {

/// The method that a request's body asks for; empty if it is no call.
std::string method_of(const std::string& body);

/// The right answer of the service, as text: an answer in the form of JSON-RPC with the "result" of
///   connect/echo     the method and the params that came
///   settings         a few settings
///   time             the server's time in milliseconds since 1970, UTC
///   technology/echo  what came, byte for byte (the one that isn't JSON-RPC)
/// or with the error -32601 for a service that there isn't.
std::string answer(const std::string& service, const std::string& body);
/// An answer that says `result` (JSON text).
std::string result_answer(const std::string& body, const std::string& result);
/// An answer that says `error` (JSON text) in the place of a result.
std::string error_answer(const std::string& body, const std::string& error);

}  // namespace devkit
