#include "support/TestSeam.h"

#include <stdexcept>
#include <utility>

namespace support {

TestSeam::TestSeam() {
  if (platform::seam() != nullptr) throw std::logic_error("a seam is installed already");
  platform::set_seam(this);
}

TestSeam::~TestSeam() {
  platform::set_seam(nullptr);
}

void TestSeam::hold_clock(std::int64_t ticks) {
  const std::lock_guard lock(mutex_);
  ticks_ = ticks;
}

void TestSeam::jump_clock(std::int64_t by_ticks) {
  const std::lock_guard lock(mutex_);
  if (!ticks_) throw std::logic_error("only a held clock can jump");
  *ticks_ += by_ticks;
}

void TestSeam::release_clock() {
  const std::lock_guard lock(mutex_);
  ticks_.reset();
}

void TestSeam::hold_milliseconds(std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  milliseconds_ = value;
}

void TestSeam::release_milliseconds() {
  const std::lock_guard lock(mutex_);
  milliseconds_.reset();
}

void TestSeam::fail_call(platform::Call kind, std::uint32_t number, std::size_t nth,
                         std::size_t times) {
  if (nth == 0 || number == 0) throw std::logic_error("the first call is 1 and no failure is 0");
  const std::lock_guard lock(mutex_);
  Fault& fault = faults_[index(kind)];
  fault.first = fault.calls + nth;
  fault.times = times;
  fault.number = number;
}

void TestSeam::let_calls_through(platform::Call kind) {
  const std::lock_guard lock(mutex_);
  faults_[index(kind)].times = 0;
}

std::size_t TestSeam::calls(platform::Call kind) const {
  const std::lock_guard lock(mutex_);
  return faults_[index(kind)].calls;
}

void TestSeam::set_own_module_name(std::wstring name, std::uint32_t error) {
  const std::lock_guard lock(mutex_);
  own_module_name_ = Name{std::move(name), error};
}

void TestSeam::set_executable_name(std::wstring name, std::uint32_t error) {
  const std::lock_guard lock(mutex_);
  executable_name_ = Name{std::move(name), error};
}

void TestSeam::set_elevated(bool elevated) {
  const std::lock_guard lock(mutex_);
  elevated_ = elevated;
}

std::uint32_t TestSeam::fail(platform::Call kind) noexcept {
  const std::lock_guard lock(mutex_);
  Fault& fault = faults_[index(kind)];
  ++fault.calls;
  const bool fails = fault.calls >= fault.first && fault.calls - fault.first < fault.times;
  return fails ? fault.number : 0;
}

std::optional<std::int64_t> TestSeam::ticks() noexcept {
  const std::lock_guard lock(mutex_);
  return ticks_;
}

std::optional<std::uint32_t> TestSeam::milliseconds() noexcept {
  const std::lock_guard lock(mutex_);
  return milliseconds_;
}

std::optional<std::wstring> TestSeam::own_module_name(std::uint32_t& error) noexcept {
  const std::lock_guard lock(mutex_);
  if (!own_module_name_) return std::nullopt;
  error = own_module_name_->error;
  return own_module_name_->text;
}

std::optional<std::wstring> TestSeam::executable_name(std::uint32_t& error) noexcept {
  const std::lock_guard lock(mutex_);
  if (!executable_name_) return std::nullopt;
  error = executable_name_->error;
  return executable_name_->text;
}

std::optional<bool> TestSeam::elevated() noexcept {
  const std::lock_guard lock(mutex_);
  return elevated_;
}

}  // namespace support
