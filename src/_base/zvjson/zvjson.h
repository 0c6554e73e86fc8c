#pragma once

#include <jansson.h>

#include <cstdarg>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>

namespace zv {

class json_impl;

/// One jansson value behind operations that count its references. A holder without a value is
/// "empty" and refuses to be loaded or packed; start from JsonNull for that. Nothing here throws or
/// logs: failures show in the results. Not synchronised; holders that share a value are one value.
class Json {
 public:
  Json() noexcept;            ///< an empty holder
  explicit Json(bool value);  ///< jansson's true or false
  /// Takes over the reference `value` stands for; null gives a holder that is not valid.
  static Json Adopt(json_t* value);
  Json(const Json& other);  ///< shares the value
  Json(Json&& other) noexcept;
  Json& operator=(const Json& other);
  Json& operator=(Json&& other) noexcept;

  virtual ~Json();

  /// The references on the value after the operation; -1 on an empty holder, 0 without a value. The
  /// constants null, true and false aren't counted and give -1 too. Releasing the last reference
  /// leaves the holder without a value. Each holder that shares the value counts one reference of
  /// its own, which isn't another holder's to release.
  virtual int AddRef();
  virtual int Release();
  virtual int RefCount() const;

  virtual bool IsValid() const;
  virtual bool IsObject() const;
  virtual bool IsArray() const;
  virtual bool IsString() const;
  virtual bool IsInteger() const;
  virtual bool IsReal() const;
  virtual bool IsNumber() const;  ///< integer or real
  virtual bool IsBoolean() const;
  virtual bool IsTrue() const;
  virtual bool IsFalse() const;
  virtual bool IsNull() const;

  /// Lets go of the own value and shares that of `other`.
  virtual void Share(const Json& other);

  // Object members. False if this isn't an object, the key is absent, or the type is another one;
  // `value` is then untouched.
  virtual bool GetMember(const char* key, Json& value) const;  ///< shares the member
  virtual bool GetMember(const char* key, std::string& value) const;
  virtual bool GetMember(const char* key, json_int_t& value) const;
  virtual bool SetMember(const char* key, const Json& value);  ///< shares `value`
  /// Copies the members of `other` over, sorted by key, as their order shows in a dump. Nothing is
  /// copied, and that is a success, if `other` isn't an object.
  virtual bool SetMembers(const Json& other);

  // Array items.
  virtual bool GetItem(std::size_t index, Json& value) const;
  virtual bool AppendItem(const Json& value);

  // The value itself.
  virtual bool GetValue(std::string& value) const;
  /// Succeeds for any number, but gives 0 for a real.
  virtual bool GetValue(json_int_t& value) const;

  /// Items of an array, members of an object, 0 for anything else.
  virtual std::size_t Size() const;
  /// The value if valid, else null. Not a new reference.
  virtual json_t* RawValue() const;

  /// Replaces the value by a packed one; true on success, the value unchanged otherwise. A format
  /// with a token `o` of its own is refused, since it would steal a caller's reference. `file` and
  /// `line` name the caller.
  virtual bool Pack(const char* file, int line, const char* format, ...);
  virtual bool Unpack(const char* file, int line, const char* format, ...) const;
  virtual bool PackV(const char* file, int line, const char* format, std::va_list arguments);
  virtual bool UnpackV(const char* file, int line, const char* format,
                       std::va_list arguments) const;

  // A load that fails leaves no value, not the former one. Of the flags only those reach jansson
  // that tell it how to decode. An empty holder fails.
  virtual bool Load(const char* text, std::size_t flags);
  /// Fills `error` as well. It drops the decoding flags and copies the encoding ones instead, which
  /// have no effect on a load: callers rely on its reading with default flags.
  virtual bool Load(const char* text, std::size_t flags, json_error_t* error);
  virtual bool LoadBuffer(const char* buffer, std::size_t size, std::size_t flags);
  virtual bool LoadFile(const char* path, std::size_t flags);
  virtual bool LoadFile(const wchar_t* path, std::size_t flags);
  virtual bool LoadStream(std::istream& stream, std::size_t flags);

  // Dumps take jansson's encoding flags but the indentation, which never reaches it.
  virtual bool Dump(std::string& text, std::size_t flags) const;
  virtual bool DumpFile(const char* path, std::size_t flags) const;
  virtual bool DumpFile(const wchar_t* path, std::size_t flags) const;
  virtual bool DumpStream(std::ostream& stream, std::size_t flags) const;

 protected:
  explicit Json(std::unique_ptr<json_impl> impl) noexcept;

 private:
  json_t* Value() const noexcept;
  /// Replaces the value, taking over a reference; true if there is a value then.
  bool Keep(json_t* value) noexcept;
  /// Drops the value; false on an empty holder.
  bool LetGo() noexcept;
  void ShareValue(const Json& other) noexcept;

  std::unique_ptr<json_impl> impl_;
};

/// Starts as JSON null: the holder to load or pack into.
class JsonNull : public Json {
 public:
  JsonNull();
};

/// Starts as an empty object.
class JsonObject : public Json {
 public:
  JsonObject();
};

}  // namespace zv
