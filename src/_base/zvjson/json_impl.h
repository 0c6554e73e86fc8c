#pragma once

#include <jansson.h>

namespace zv {

/// Owns one reference to a jansson value, or none.
class json_impl {
 public:
  /// jansson's true or false, which are constants: they count no references.
  explicit json_impl(bool value) noexcept;
  /// Takes over the caller's reference.
  explicit json_impl(json_t* value) noexcept;
  json_impl(const json_impl&) = delete;
  json_impl& operator=(const json_impl&) = delete;
  virtual ~json_impl();

  json_t* value() const noexcept { return value_; }

  /// Lets go of the value and takes over the caller's reference to another.
  void reset(json_t* value) noexcept;

  /// The references on the value after the operation, 0 without a value. Those of a constant read
  /// as -1. Releasing the last one leaves null.
  int add_reference() noexcept;
  int release_reference() noexcept;
  int references() const noexcept;

 private:
  json_t* value_;
};

}  // namespace zv
