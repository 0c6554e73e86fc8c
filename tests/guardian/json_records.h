#pragma once

#include <nlohmann/json.hpp>
#include <string>

/// A record of the guardian's out of its text, which throws what the module throws.
template <class Record>
Record read(const std::string& text) {
  return nlohmann::json::parse(text).get<Record>();
}

template <class Record>
std::string written(const Record& record) {
  return nlohmann::json(record).dump();
}
