#include "push/push_gate.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>

namespace cloud::push {
namespace {

struct gate {
  std::uint32_t visits = 0;
  bool closing = false;
};

std::mutex lock;
std::condition_variable visit_ended;
std::map<const void*, gate> gates;  // guarded by lock

bool enter(const void* context) noexcept {
  const std::lock_guard guard(lock);
  const auto found = gates.find(context);
  if (found == gates.end() || found->second.closing) return false;
  ++found->second.visits;
  return true;
}

}  // namespace

void push_gate::open(const void* context) {
  const std::lock_guard guard(lock);
  gates.try_emplace(context);
}

void push_gate::close(const void* context) noexcept {
  std::unique_lock guard(lock);
  const auto found = gates.find(context);
  if (found == gates.end()) return;
  found->second.closing = true;
  visit_ended.wait(guard, [&] { return found->second.visits == 0; });
  gates.erase(found);
}

push_gate::visit::visit(const void* context) noexcept
    : context_(context), inside_(enter(context)) {}

push_gate::visit::~visit() {
  if (!inside_) return;
  const std::lock_guard guard(lock);
  gate& visited = gates.find(context_)->second;
  if (--visited.visits == 0 && visited.closing) visit_ended.notify_all();
}

}  // namespace cloud::push
