#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace httplib {
struct Response;
}  // namespace httplib

namespace devkit {

inline constexpr const char* json_type = "application/json";

void write(httplib::Response& response, const nlohmann::json& value);
void refuse(httplib::Response& response, int status, const std::string& sentence);

/// Runs `serve` and tells what is wrong with the request if it can't.
void answer_or_refuse(httplib::Response& response, const std::function<void()>& serve);

}  // namespace devkit
