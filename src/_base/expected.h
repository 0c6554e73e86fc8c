#pragma once

#include <cstddef>
#include <exception>
#include <type_traits>
#include <utility>
#include <variant>

namespace stdext {

/// Thrown by reading the side of an expected that isn't held.
class bad_expected_access : public std::exception {
 public:
  const char* what() const noexcept override;
};

/// Marks an error on its way into an expected.
template <class Error>
struct unexpected {
  Error error;
};
template <class Error>
unexpected(Error) -> unexpected<Error>;

/// A value (index 0) or an error (index 1), as loaders return it. An assignment that throws leaves
/// it valueless; it then holds neither.
template <class Value, class Error>
class expected {
 public:
  expected(Value value)
      : held_(std::in_place_index<0>, std::move(value)) {}  // NOLINT(google-explicit-constructor)
  template <class E>
  expected(unexpected<E> failure)  // NOLINT(google-explicit-constructor)
      : held_(std::in_place_index<1>, std::move(failure.error)) {}

  bool has_value() const noexcept { return held_.index() == 0; }
  bool has_error() const noexcept { return held_.index() == 1; }
  bool valueless() const noexcept { return held_.valueless_by_exception(); }
  explicit operator bool() const noexcept { return has_value(); }

  Value& value() & { return side<0>(held_); }
  const Value& value() const& { return side<0>(held_); }
  Value&& value() && { return std::move(side<0>(held_)); }
  Error& error() & { return side<1>(held_); }
  const Error& error() const& { return side<1>(held_); }

 private:
  template <std::size_t Index, class Held>
  static auto& side(Held& held) {
    auto* const found = std::get_if<Index>(&held);
    if (found == nullptr) throw bad_expected_access();
    return *found;
  }

  std::variant<Value, Error> held_;
};

}  // namespace stdext
