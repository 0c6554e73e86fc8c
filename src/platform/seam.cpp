#include "platform/seam.h"

namespace platform {
namespace {

std::atomic<Seam*> installed{nullptr};

}  // namespace

std::optional<std::wstring> Seam::own_module_name(std::uint32_t&) noexcept {
  return std::nullopt;
}
std::optional<std::wstring> Seam::executable_name(std::uint32_t&) noexcept {
  return std::nullopt;
}

void set_seam(Seam* seam) noexcept {
  installed.store(seam, std::memory_order_release);
}
Seam* seam() noexcept {
  return installed.load(std::memory_order_acquire);
}

}  // namespace platform
