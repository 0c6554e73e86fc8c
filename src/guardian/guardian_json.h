#pragma once

#include <nlohmann/json_fwd.hpp>

#include "guardian/guardian_config.h"
#include "guardian/request_failure.h"
#include "guardian/service_info.h"

// The records in the guardian's files. Reading throws the library's exceptions; unknown members are
// ignored. A time is written in whole seconds, cut towards zero.

void to_json(nlohmann::json& json, const break_interval& interval);
void from_json(const nlohmann::json& json, break_interval& interval);

void to_json(nlohmann::json& json, const guardian_config& config);
void from_json(const nlohmann::json& json, guardian_config& config);

void to_json(nlohmann::json& json, const service_info& info);
void to_json(nlohmann::json& json, const services_map& services);
void from_json(const nlohmann::json& json, service_info& info);

void to_json(nlohmann::json& json, const request_failure& failure);
void from_json(const nlohmann::json& json, request_failure& failure);
