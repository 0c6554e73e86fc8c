#include "support/duel_material.h"

#include "support/breaker_duel.h"

namespace support::duel {

const std::vector<Kind> kinds = {
    Kind::ask,     Kind::ask,     Kind::ask,     Kind::ask,      Kind::ask,     Kind::ask,
    Kind::success, Kind::success, Kind::success, Kind::success,  Kind::failure, Kind::failure,
    Kind::failure, Kind::failure, Kind::failure, Kind::failure,  Kind::clock,   Kind::clock,
    Kind::clock,   Kind::clock,   Kind::clock,   Kind::clock,    Kind::news,    Kind::news,
    Kind::news,    Kind::news,    Kind::damage,  Kind::settings, Kind::restart, Kind::fault};

const std::vector<std::string> configurations = {
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":60,"max":120},{"min":300,"max":600},{"min":3600,"max":3600}],"reset_threshold":30}})",
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":60,"max":120},{"min":300,"max":600}],"reset_threshold":30},"services":["a","b"]})",
    R"({"services":["b","a"],"circuit_config":{"threshold":2,"intervals":[{"min":60,"max":120},{"min":300,"max":600}],"reset_threshold":30}})",
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":60,"max":120}],"reset_threshold":30},"services":[]})",
    R"({"circuit_config":{"threshold":1,"intervals":[{"min":1,"max":1}],"reset_threshold":0}})",
    R"({"circuit_config":{"threshold":0,"intervals":[],"reset_threshold":30}})",
    R"({"circuit_config":{"threshold":3,"intervals":[{"min":10,"max":20},{"min":5,"max":1}],"reset_threshold":10000}})",
    R"({"circuit_config":{"threshold":3,"intervals":[{"min":10,"max":20}],"reset_threshold":-1}})",
    R"({"circuit_config":{"threshold":2.9,"intervals":[{"min":true,"max":7.5}],"reset_threshold":30.7},"services":["a"]})",
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":0,"max":4294967295}],"reset_threshold":2147483647}})",
    R"({"circuit_config":{"threshold":2,"intervals":[{"min":4,"max":5}],"reset_threshold":-2147483648}})",
    R"({"more":[],"services":["a","ä c"],"circuit_config":{"threshold":2,"more":1,"intervals":[{"min":4,"max":40}],"reset_threshold":2}})",
    R"({"circuit_config":{"threshold":2,"intervals":{},"reset_threshold":2}})",
    R"({"services":["a"]})",
    R"({"circuit_config":)",
    ""};

const std::vector<std::string> circuit_files = {
    "{}",
    "",
    "[]",
    "null",
    R"({"a":{"state":1,"counter":0,"index":1,"next_request_time":1700000100,"errors":[],"blocked":3,"allowed":4}})",
    R"({"a":{"state":2,"counter":1,"index":9,"next_request_time":1700000000.9,"errors":[]}})",
    R"({"a":{"state":7,"counter":0,"index":2,"next_request_time":1700000100,"errors":[],"blocked":1,"allowed":1}})",
    R"({"b":{"state":1,"counter":5,"index":4294967295,"next_request_time":-7,"errors":[],"more":1}})",
    R"({"a":{"state":0,"counter":1,"index":3,"next_request_time":1700000000,"errors":[{"value":"5","field":1,"method":"m"}],"blocked":4294967295}})",
    R"({"a":{"state":1,"counter":0,"index":1,"next_request_time":1700000100}})",
    R"({"a":{"state":1,"counter":0,"index":1,"next_request_time":1700000100,"errors":{}}})",
    R"({"a":{"state":1,"counter":0,"index":1,"next_request_time":"1","errors":[]}})"};

const std::vector<ReferenceBreaker::Failure> failures = {
    {"500", 0, "ask"}, {"32005.1011", 2, "upload"}, {"\xC3\xBC \"1\"\n", 1, ""}, {"\xFE", 1, "m"}};

std::string packaged_settings() {
  return R"({"storage_folder":"user","admin_storage_folder":"guard",)"
         R"("storage_filename":"circuits.json","config_storage_filename":"cache.json",)" +
         configurations.front().substr(1);
}

}  // namespace support::duel
