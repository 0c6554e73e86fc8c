#include "_base/zvjson/json_impl.h"

namespace zv {

json_impl::json_impl(bool value) noexcept : value_(value ? json_true() : json_false()) {}

json_impl::json_impl(json_t* value) noexcept : value_(value) {}

json_impl::~json_impl() {
  json_decref(value_);
}

void json_impl::reset(json_t* value) noexcept {
  // The former value last: it may hold the only other reference to the new one.
  json_t* const former = value_;
  value_ = value;
  json_decref(former);
}

int json_impl::add_reference() noexcept {
  json_incref(value_);
  return references();
}

int json_impl::release_reference() noexcept {
  if (references() == 1) {
    reset(nullptr);
  } else {
    json_decref(value_);
  }
  return references();
}

int json_impl::references() const noexcept {
  return value_ != nullptr ? static_cast<int>(value_->refcount) : 0;
}

}  // namespace zv
