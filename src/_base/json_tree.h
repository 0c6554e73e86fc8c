#pragma once

#include <nlohmann/json.hpp>
#include <utility>

namespace zv {

/// Owner of a JSON value, to be used wherever one is made that may hold others.
///
/// The library's own destructor takes memory for every array and object that isn't empty, and can
/// only end the process when there is none. This one takes the value apart from below, so that no
/// destructor finds anything inside. A value nested beyond what anyone would write is left to the
/// library, since the stack has an end too.
class json_tree {
 public:
  explicit json_tree(nlohmann::json value = {}) noexcept : root_(std::move(value)) {}
  json_tree(const json_tree&) = delete;
  json_tree& operator=(const json_tree&) = delete;
  ~json_tree() { take_apart(root_, 0); }

  /// To build in: what a constructor of the library has made of a value when memory runs out, it
  /// forgets to free.
  nlohmann::json& operator*() noexcept { return root_; }
  const nlohmann::json& operator*() const noexcept { return root_; }
  const nlohmann::json* operator->() const noexcept { return &root_; }

 private:
  static constexpr int deepest = 200;

  static void take_apart(nlohmann::json& value, int depth) noexcept {
    if (depth == deepest) return;
    if (auto* const elements = value.get_ptr<nlohmann::json::array_t*>(); elements != nullptr) {
      for (; !elements->empty(); elements->pop_back()) take_apart(elements->back(), depth + 1);
    }
    if (auto* const members = value.get_ptr<nlohmann::json::object_t*>(); members != nullptr) {
      for (; !members->empty(); members->erase(members->begin())) {
        take_apart(members->begin()->second, depth + 1);
      }
    }
  }

  nlohmann::json root_;
};

}  // namespace zv
