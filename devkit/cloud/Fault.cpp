#include "devkit/cloud/Fault.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>

namespace devkit {

namespace {

constexpr std::array<const char*, 5> kinds = {"error", "stall", "rubbish", "http", "close"};
constexpr std::size_t huge_size = 16 * 1024 * 1024;
constexpr std::size_t depth = 100000;

}  // namespace

bool Fault::concerns(const std::string& a_service, const std::string& a_method) const {
  // The heartbeat is no service: only who names it means it.
  if (service == "*" && a_service == "health") return false;
  return (service == "*" || service == a_service) && (method == "*" || method == a_method);
}

bool FaultSelection::has(const Fault& fault) const {
  return (!service || *service == fault.service) && (!method || *method == fault.method);
}

Fault fault_from_json(const nlohmann::json& json) {
  Fault fault;
  try {
    fault.service = json.value("service", fault.service);
    fault.method = json.value("method", fault.method);
    fault.kind = json.at("kind").get<std::string>();
    if (json.contains("count")) fault.count = json["count"].get<std::uint32_t>();
    if (json.contains("error")) fault.error = json["error"];
    fault.code = json.value("code", fault.code);
    fault.message = json.value("message", fault.message);
    if (json.contains("data")) fault.data = json["data"];
    fault.milliseconds = json.value("milliseconds", fault.milliseconds);
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
  for (Stall& stall : stalls_) stall.cleared = stall.cleared || selection.has(stall.fault);
  changed_.notify_all();
  return std::erase_if(faults_, [&](const Fault& fault) { return selection.has(fault); });
}

std::vector<Fault> FaultTable::list() const {
  const std::lock_guard guard(mutex_);
  return faults_;
}

std::optional<Fault> FaultTable::take(const std::string& service, const std::string& method) {
  const std::lock_guard guard(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.concerns(service, method) && fault.count != 0u;
  });
  if (found == faults_.end()) return std::nullopt;
  Fault fault = *found;
  if (found->count && --*found->count == 0) faults_.erase(found);
  return fault;
}

void FaultTable::stall(const Fault& fault) {
  std::unique_lock lock(mutex_);
  const auto own = stalls_.insert(stalls_.end(), Stall{fault});
  changed_.wait_for(lock, std::chrono::milliseconds(fault.milliseconds),
                    [&] { return released_ || own->cleared; });
  stalls_.erase(own);
}

void FaultTable::release() {
  const std::lock_guard guard(mutex_);
  released_ = true;
  changed_.notify_all();
}

}  // namespace devkit
