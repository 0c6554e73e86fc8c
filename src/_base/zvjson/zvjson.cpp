#include "_base/zvjson/zvjson.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "_base/zvjson/format_guard.h"
#include "_base/zvjson/json_flags.h"
#include "_base/zvjson/json_impl.h"
#include "_base/zvjson/json_io.h"

namespace zv {
namespace {

/// Takes over a reference; null, the reference then dropped, when memory ran out.
std::unique_ptr<json_impl> Hold(json_t* value) noexcept {
  std::unique_ptr<json_impl> impl(new (std::nothrow) json_impl(value));
  if (impl == nullptr) json_decref(value);
  return impl;
}

bool CopyText(const json_t* value, std::string& text) noexcept {
  if (!json_is_string(value)) return false;
  try {
    text.assign(json_string_value(value), json_string_length(value));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// A real is a number but has no integer value: it reads as 0.
bool CopyNumber(const json_t* value, json_int_t& number) noexcept {
  if (!json_is_number(value)) return false;
  number = json_integer_value(value);
  return true;
}

using Member = std::pair<const char*, json_t*>;

std::vector<Member> SortedMembers(json_t* object) {
  std::vector<Member> members;
  members.reserve(json_object_size(object));
  for (void* at = json_object_iter(object); at != nullptr; at = json_object_iter_next(object, at)) {
    members.emplace_back(json_object_iter_key(at), json_object_iter_value(at));
  }
  std::sort(members.begin(), members.end(),
            [](const Member& a, const Member& b) { return std::strcmp(a.first, b.first) < 0; });
  return members;
}

}  // namespace

Json::Json() noexcept = default;
Json::Json(bool value) : impl_(new (std::nothrow) json_impl(value)) {}
Json::Json(std::unique_ptr<json_impl> impl) noexcept : impl_(std::move(impl)) {}
Json Json::Adopt(json_t* value) {
  return Json(Hold(value));
}
Json::Json(const Json& other) {
  ShareValue(other);
}
Json::Json(Json&& other) noexcept = default;
Json& Json::operator=(Json&& other) noexcept = default;
Json::~Json() = default;

Json& Json::operator=(const Json& other) {
  ShareValue(other);
  return *this;
}

JsonNull::JsonNull() : Json(Hold(json_null())) {}
JsonObject::JsonObject() : Json(Hold(json_object())) {}

int Json::AddRef() {
  return impl_ != nullptr ? impl_->add_reference() : -1;
}
int Json::Release() {
  return impl_ != nullptr ? impl_->release_reference() : -1;
}
int Json::RefCount() const {
  return impl_ != nullptr ? impl_->references() : -1;
}

bool Json::IsValid() const {
  return Value() != nullptr;
}
bool Json::IsObject() const {
  return json_is_object(Value());
}
bool Json::IsArray() const {
  return json_is_array(Value());
}
bool Json::IsString() const {
  return json_is_string(Value());
}
bool Json::IsInteger() const {
  return json_is_integer(Value());
}
bool Json::IsReal() const {
  return json_is_real(Value());
}
bool Json::IsNumber() const {
  return json_is_number(Value());
}
bool Json::IsBoolean() const {
  return json_is_boolean(Value());
}
bool Json::IsTrue() const {
  return json_is_true(Value());
}
bool Json::IsFalse() const {
  return json_is_false(Value());
}
bool Json::IsNull() const {
  return json_is_null(Value());
}

void Json::Share(const Json& other) {
  ShareValue(other);
}

bool Json::GetMember(const char* key, Json& value) const {
  json_t* const member = json_object_get(Value(), key);
  return member != nullptr && value.Keep(json_incref(member));
}

bool Json::GetMember(const char* key, std::string& value) const {
  return CopyText(json_object_get(Value(), key), value);
}

bool Json::GetMember(const char* key, json_int_t& value) const {
  return CopyNumber(json_object_get(Value(), key), value);
}

bool Json::SetMember(const char* key, const Json& value) {
  return json_object_set(Value(), key, value.Value()) == 0;
}

bool Json::SetMembers(const Json& other) {
  json_t* const target = Value();
  if (!json_is_object(target)) return false;
  if (!json_is_object(other.Value())) return true;
  try {
    for (const auto& [key, value] : SortedMembers(other.Value())) {
      if (json_object_set_nocheck(target, key, value) != 0) return false;
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool Json::GetItem(std::size_t index, Json& value) const {
  json_t* const item = json_array_get(Value(), index);
  return item != nullptr && value.Keep(json_incref(item));
}

bool Json::AppendItem(const Json& value) {
  return json_array_append(Value(), value.Value()) == 0;
}

bool Json::GetValue(std::string& value) const {
  return CopyText(Value(), value);
}
bool Json::GetValue(json_int_t& value) const {
  return CopyNumber(Value(), value);
}

std::size_t Json::Size() const {
  json_t* const value = Value();
  return json_is_array(value) ? json_array_size(value) : json_object_size(value);
}

json_t* Json::RawValue() const {
  return Value();
}

bool Json::Pack(const char* file, int line, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool is_packed = Json::PackV(file, line, format, arguments);
  va_end(arguments);
  return is_packed;
}

bool Json::Unpack(const char* file, int line, const char* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  const bool is_unpacked = Json::UnpackV(file, line, format, arguments);
  va_end(arguments);
  return is_unpacked;
}

bool Json::PackV(const char*, int, const char* format, std::va_list arguments) {
  if (impl_ == nullptr || !FormatAllowed(format)) return false;
  json_t* const packed = json_vpack_ex(nullptr, 0, format, arguments);
  return packed != nullptr && Keep(packed);
}

bool Json::UnpackV(const char*, int, const char* format, std::va_list arguments) const {
  return FormatAllowed(format) && json_vunpack_ex(Value(), nullptr, 0, format, arguments) == 0;
}

bool Json::Load(const char* text, std::size_t flags) {
  return LetGo() && Keep(json_loads(text, flags & load_flags, nullptr));
}

bool Json::Load(const char* text, std::size_t flags, json_error_t* error) {
  if (error != nullptr) *error = json_error_t{};
  // The mask of the dumps is meant: callers of this form rely on its reading with default flags.
  return LetGo() && Keep(json_loads(text, flags & dump_flags, error));
}

bool Json::LoadBuffer(const char* buffer, std::size_t size, std::size_t flags) {
  return LetGo() && Keep(json_loadb(buffer, size, flags & load_flags, nullptr));
}

bool Json::LoadFile(const char* path, std::size_t flags) {
  return LetGo() && Keep(LoadFrom(OpenFile(path, "rb"), flags & load_flags));
}

bool Json::LoadFile(const wchar_t* path, std::size_t flags) {
  return LetGo() && Keep(LoadFrom(OpenFile(path, "rb"), flags & load_flags));
}

bool Json::LoadStream(std::istream& stream, std::size_t flags) {
  return LetGo() && Keep(LoadFrom(stream, flags & load_flags));
}

// A holder without a value fails before a file is opened, which would empty it.

bool Json::Dump(std::string& text, std::size_t flags) const {
  return Value() != nullptr && DumpInto(text, Value(), flags & dump_flags);
}

bool Json::DumpFile(const char* path, std::size_t flags) const {
  return Value() != nullptr && DumpInto(OpenFile(path, "w"), Value(), flags & dump_flags);
}

bool Json::DumpFile(const wchar_t* path, std::size_t flags) const {
  return Value() != nullptr && DumpInto(OpenFile(path, "w"), Value(), flags & dump_flags);
}

bool Json::DumpStream(std::ostream& stream, std::size_t flags) const {
  return Value() != nullptr && DumpInto(stream, Value(), flags & dump_flags);
}

json_t* Json::Value() const noexcept {
  return impl_ != nullptr ? impl_->value() : nullptr;
}

bool Json::Keep(json_t* value) noexcept {
  if (impl_ != nullptr) {
    impl_->reset(value);
  } else {
    impl_ = Hold(value);
  }
  return Value() != nullptr;
}

bool Json::LetGo() noexcept {
  if (impl_ == nullptr) return false;
  impl_->reset(nullptr);
  return true;
}

void Json::ShareValue(const Json& other) noexcept {
  if (other.impl_ != nullptr) {
    Keep(json_incref(other.Value()));
  } else {
    impl_.reset();
  }
}

}  // namespace zv
