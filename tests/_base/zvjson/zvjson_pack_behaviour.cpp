#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "_base/zvjson/zvjson.h"

namespace {

using zv::Json;
using zv::JsonNull;
using zv::JsonObject;

JsonNull loaded(const char* text) {
  JsonNull json;
  EXPECT_TRUE(json.Load(text, 0)) << text;
  return json;
}

std::string dumped(const Json& json) {
  std::string text;
  EXPECT_TRUE(json.Dump(text, 0));
  return text;
}

bool pack_by_list(Json& json, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool packed = json.PackV(__FILE__, __LINE__, format, arguments);
  va_end(arguments);
  return packed;
}

bool unpack_by_list(const Json& json, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool unpacked = json.UnpackV(__FILE__, __LINE__, format, arguments);
  va_end(arguments);
  return unpacked;
}

TEST(JsonPack, PacksAsJanssonDoes) {
  JsonNull json;
  EXPECT_TRUE(json.Pack(__FILE__, __LINE__, "{s:s, s:i, s:b}", "a", "x", "b", 3, "c", 1));
  EXPECT_EQ(dumped(json), R"({"a": "x", "b": 3, "c": true})");
  EXPECT_TRUE(pack_by_list(json, "[s, i]", "x", 3));
  EXPECT_EQ(dumped(json), R"(["x", 3])");
}

TEST(JsonPack, UnpacksAsJanssonDoes) {
  const Json json = loaded(R"({"a": "x", "b": 3})");
  const char* text = nullptr;
  int number = 0;
  EXPECT_TRUE(json.Unpack(__FILE__, __LINE__, "{s:s, s:i}", "a", &text, "b", &number));
  EXPECT_STREQ(text, "x");
  EXPECT_EQ(number, 3);
  number = 0;
  EXPECT_TRUE(unpack_by_list(json, "{s:i}", "b", &number));
  EXPECT_EQ(number, 3);
  EXPECT_FALSE(json.Unpack(__FILE__, __LINE__, "{s:s}", "b", &text));
  EXPECT_FALSE(unpack_by_list(json, "{s:i}", "absent", &number));
}

/// Packs a value that is counted. Whoever passes `o` on to jansson hands the reference over.
class JsonFormat : public testing::Test {
 protected:
  JsonFormat() : value(json_object()) { json_incref(value); }
  ~JsonFormat() override {
    while (value->refcount > 1) json_decref(value);
    json_decref(value);
  }

  void expect_refused(const char* format, bool with_key) {
    JsonNull json = loaded("[\"before\"]");
    json_t* const before = json.RawValue();
    EXPECT_FALSE(with_key ? json.Pack(__FILE__, __LINE__, format, "key", value)
                          : json.Pack(__FILE__, __LINE__, format, value))
        << format;
    EXPECT_FALSE(with_key ? pack_by_list(json, format, "key", value)
                          : pack_by_list(json, format, value))
        << format;
    EXPECT_EQ(json.RawValue(), before) << format;
    EXPECT_EQ(dumped(json), "[\"before\"]");
    EXPECT_EQ(value->refcount, 2u) << "jansson was called for " << format;
  }

  json_t* const value;
};

TEST_F(JsonFormat, WithATokenOfOneLetterOIsRefused) {
  for (const char* format : {"{s:o}", "{s: o}", "{s:\to}", "{s,o}", "{s: o }", "{ s : o }"}) {
    expect_refused(format, true);
  }
  for (const char* format : {"o", "[o]", " o", "[ o ]", "[i,o]", "{o", "[s[o]]"}) {
    expect_refused(format, false);
  }
}

TEST_F(JsonFormat, IsRefusedForUnpackingToo) {
  const Json json = loaded(R"({"key": {}})");
  json_t* out = value;
  EXPECT_FALSE(json.Unpack(__FILE__, __LINE__, "{s:o}", "key", &out));
  EXPECT_FALSE(unpack_by_list(json, "{s:o}", "key", &out));
  EXPECT_EQ(out, value);
}

TEST_F(JsonFormat, WithALargeOPasses) {
  JsonNull json;
  ASSERT_TRUE(json.Pack(__FILE__, __LINE__, "{s:O}", "key", value));
  EXPECT_EQ(dumped(json), R"({"key": {}})");
  EXPECT_EQ(value->refcount, 3u);
  ASSERT_TRUE(pack_by_list(json, "[O]", value));
  EXPECT_EQ(value->refcount, 3u);

  json_t* out = nullptr;
  ASSERT_TRUE(json.Unpack(__FILE__, __LINE__, "[O]", &out));
  EXPECT_EQ(out, value);
  EXPECT_EQ(value->refcount, 4u);
}

TEST_F(JsonFormat, WithATokenOfTwoLettersOPasses) {
  json_incref(value);
  JsonNull json;
  ASSERT_TRUE(json.Pack(__FILE__, __LINE__, "[oo]", value, json_object()));
  EXPECT_EQ(json.Size(), 2u);
  EXPECT_EQ(value->refcount, 3u) << "the reference was handed over";
}

TEST_F(JsonFormat, OfNothingButTwoLettersOReachesJansson) {
  JsonNull json;
  EXPECT_FALSE(json.Pack(__FILE__, __LINE__, "oo", value, value)) << "it is garbage to jansson";
  EXPECT_EQ(value->refcount, 1u) << "which has taken the first";
}

TEST_F(JsonFormat, WithOBesideAnotherLetterPasses) {
  JsonNull json;
  json_incref(value);
  EXPECT_TRUE(json.Pack(__FILE__, __LINE__, "{so}", "key", value));
  EXPECT_TRUE(json.Pack(__FILE__, __LINE__, "{s:o?}", "key", static_cast<json_t*>(nullptr)));
  EXPECT_EQ(dumped(json), R"({"key": null})");
  json_incref(value);
  // A line break is no delimiter of tokens, though jansson reads over it.
  EXPECT_TRUE(json.Pack(__FILE__, __LINE__, "{s:\no}", "key", value));
}

TEST_F(JsonFormat, ThatIsNullIsRefusedByJansson) {
  JsonObject json;
  const char* const format = nullptr;
  EXPECT_FALSE(json.Pack(__FILE__, __LINE__, format));
  EXPECT_FALSE(pack_by_list(json, format));
  EXPECT_FALSE(json.Unpack(__FILE__, __LINE__, format));
  EXPECT_FALSE(unpack_by_list(json, format));
}

TEST_F(JsonFormat, DoesNotNeedANameOfTheCaller) {
  JsonNull json;
  EXPECT_TRUE(json.Pack(nullptr, 0, "{s:i}", "key", 1));
  EXPECT_FALSE(json.Pack(nullptr, -1, "{s:o}", "key", value));
  EXPECT_EQ(value->refcount, 2u);
}

}  // namespace
