#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace devkit {

/// What the development cloud is to do in place of a right answer.
///
///   kind "error"    a server error: `error` as the answer's "error" member, or else an object of
///                   `code`, `message` and, where given, `data`
///   kind "stall"    no answer for `milliseconds`, then the right one
///   kind "rubbish"  a body of the sort `what`: "not json", "cut", "huge", "not utf-8", "deep",
///                   "empty" or "array"
///   kind "http"     the HTTP status `status`
///   kind "close"    the connection closed in the middle of the answer
struct Fault {
  std::string service = "*";  ///< "*" means every one
  std::string method = "*";
  std::string kind;
  std::optional<std::uint32_t> count;  ///< how many requests; none: until cleared

  nlohmann::json error;
  std::int64_t code = 32003;
  std::string message = "a failure on demand";
  nlohmann::json data;
  std::uint32_t milliseconds = 30000;
  std::string what = "not json";
  int status = 500;

  bool concerns(const std::string& a_service, const std::string& a_method) const;
};

/// A fault that befalls a request. Of a stall the table remembers it from here on, so that a
/// clearing counts for it even before the request comes to wait.
struct TakenFault : Fault {
  explicit TakenFault(const Fault& fault) : Fault(fault) {}

 private:
  friend class FaultTable;
  std::shared_ptr<bool> cleared_ = std::make_shared<bool>(false);
};

/// Which faults are meant: those set for exactly this service and this method, where one is given.
struct FaultSelection {
  std::optional<std::string> service;
  std::optional<std::string> method;

  bool has(const Fault& fault) const;
};

/// Throws std::invalid_argument with a sentence for people if the JSON doesn't describe a fault.
Fault fault_from_json(const nlohmann::json& json);
nlohmann::json to_json(const Fault& fault);

/// The "error" member of a server error on demand.
nlohmann::json error_member(const Fault& fault);
/// The body of rubbish of one sort; null for a sort that there isn't.
std::optional<std::string> rubbish(const std::string& what);

/// The faults in force. Any thread.
class FaultTable {
 public:
  void add(Fault fault);
  /// Gives how many were cleared.
  std::size_t clear(const FaultSelection& selection = {});
  std::vector<Fault> list() const;
  /// The oldest fault that concerns the request, counted down.
  std::optional<TakenFault> take(const std::string& service, const std::string& method);

  /// Waits for the fault's time; ends early when it was or is cleared, or `release` is called.
  void stall(const TakenFault& fault);
  /// Ends all stalls, present and future.
  void release();

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Fault> faults_;
  /// The stalls that were taken; of those that are over nothing is left to clear.
  std::vector<std::pair<Fault, std::weak_ptr<bool>>> stalls_;
  bool released_ = false;
};

}  // namespace devkit
