#include "devkit/cloud/Fault.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <stdexcept>

namespace devkit {

namespace {

constexpr std::array<const char*, 5> kinds = {"error", "stall", "rubbish", "http", "close"};
constexpr std::size_t huge_size = 16 * 1024 * 1024;
constexpr std::size_t depth = 100000;

/// Null if there is none. Asked for its sign and size, which the library would cut away unsaid.
std::optional<std::uint32_t> number(const nlohmann::json& json, const char* name) {
  const auto found = json.find(name);
  if (found == json.end()) return std::nullopt;
  constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  if (found->is_number_integer() && *found >= 0 && *found <= most)
    return found->get<std::uint32_t>();
  throw std::invalid_argument("\"" + std::string(name) +
                              "\" of a fault is a whole number from 0 to " + std::to_string(most) +
                              ", not " + found->dump());
}

}  // namespace

bool Fault::concerns(const std::string& a_service, const std::string& a_method) const {
  // Heartbeat and pushes are no services: only who names them means them.
  if (service == "*" && (a_service == "health" || a_service == "push")) return false;
  return (service == "*" || service == a_service) && (method == "*" || method == a_method);
}

bool FaultSelection::has(const Fault& fault) const {
  return (!service || *service == fault.service) && (!method || *method == fault.method);
}

Fault fault_from_json(const nlohmann::json& json) {
  if (!json.is_object()) throw std::invalid_argument("a fault is a JSON object");
  Fault fault;
  try {
    fault.service = json.value("service", fault.service);
    fault.method = json.value("method", fault.method);
    fault.kind = json.at("kind").get<std::string>();
    fault.count = number(json, "count");
    if (json.contains("error")) fault.error = json["error"];
    fault.code = json.value("code", fault.code);
    fault.message = json.value("message", fault.message);
    if (json.contains("data")) fault.data = json["data"];
    fault.milliseconds = number(json, "milliseconds").value_or(fault.milliseconds);
    fault.what = json.value("what", fault.what);
    fault.status = json.value("status", fault.status);
  } catch (const nlohmann::json::exception& wrong) {
    throw std::invalid_argument(std::string("this does not describe a fault: ") + wrong.what());
  }
  if (std::find(kinds.begin(), kinds.end(), fault.kind) == kinds.end()) {
    throw std::invalid_argument("a fault's kind is one of error, stall, rubbish, http, close");
  }
  if (fault.kind == "rubbish" && !rubbish(fault.what)) {
    throw std::invalid_argument(
        "rubbish is one of: not json, cut, huge, not utf-8, deep, empty, array");
  }
  if (fault.kind == "http" && (fault.status < 400 || fault.status > 599)) {
    throw std::invalid_argument("an HTTP failure has a status from 400 to 599");
  }
  return fault;
}

nlohmann::json to_json(const Fault& fault) {
  nlohmann::json json = {
      {"service", fault.service}, {"method", fault.method}, {"kind", fault.kind}};
  if (fault.count) json["count"] = *fault.count;
  if (fault.kind == "error") json["error"] = error_member(fault);
  if (fault.kind == "stall") json["milliseconds"] = fault.milliseconds;
  if (fault.kind == "rubbish") json["what"] = fault.what;
  if (fault.kind == "http") json["status"] = fault.status;
  return json;
}

nlohmann::json error_member(const Fault& fault) {
  if (!fault.error.is_null()) return fault.error;
  nlohmann::json error = {{"code", fault.code}, {"message", fault.message}};
  if (!fault.data.is_null()) error["data"] = fault.data;
  return error;
}

std::optional<std::string> rubbish(const std::string& what) {
  if (what == "not json") return "<html><body>It works!</body></html>";
  if (what == "cut") return R"({"jsonrpc":"2.0","id":1,"result":{"list":[1,2)";
  if (what == "huge") return R"({"jsonrpc":"2.0","result":")" + std::string(huge_size, 'x') + "\"}";
  if (what == "not utf-8") return "{\"jsonrpc\":\"2.0\",\"result\":\"\xff\xfe\xc0\x80\"}";
  if (what == "deep") return std::string(depth, '[') + std::string(depth, ']');
  if (what == "empty") return "";
  if (what == "array") return "[1]";
  return std::nullopt;
}

void FaultTable::add(Fault fault) {
  const std::lock_guard guard(mutex_);
  faults_.push_back(std::move(fault));
}

std::size_t FaultTable::clear(const FaultSelection& selection) {
  const std::lock_guard guard(mutex_);
  for (const auto& [fault, is_cleared] : stalls_) {
    const auto flag = is_cleared.lock();
    if (flag && selection.has(fault)) *flag = true;
  }
  changed_.notify_all();
  return std::erase_if(faults_, [&](const Fault& fault) { return selection.has(fault); });
}

std::vector<Fault> FaultTable::list() const {
  const std::lock_guard guard(mutex_);
  return faults_;
}

std::optional<TakenFault> FaultTable::take(const std::string& service, const std::string& method) {
  const std::lock_guard guard(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.concerns(service, method) && fault.count != 0u;
  });
  if (found == faults_.end()) return std::nullopt;
  TakenFault fault(*found);
  std::erase_if(stalls_, [](const auto& stall) { return stall.second.expired(); });
  if (fault.kind == "stall") stalls_.emplace_back(fault, fault.cleared_);
  if (found->count && --*found->count == 0) faults_.erase(found);
  return fault;
}

void FaultTable::stall(const TakenFault& fault) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::milliseconds(fault.milliseconds),
                    [&] { return released_ || *fault.cleared_; });
}

void FaultTable::release() {
  const std::lock_guard guard(mutex_);
  released_ = true;
  changed_.notify_all();
}

}  // namespace devkit
