#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "_base/slots.h"
#include "_base/zvjson/zvjson.h"

namespace {

using zv::Json;
using zv::JsonNull;
using zv::JsonObject;

static_assert(std::is_base_of_v<Json, JsonNull> && std::is_base_of_v<Json, JsonObject>);
static_assert(sizeof(JsonNull) == sizeof(Json) && sizeof(JsonObject) == sizeof(Json));

constexpr std::size_t any_value = 4;

JsonNull loaded(const char* text) {
  JsonNull json;
  EXPECT_TRUE(json.Load(text, any_value)) << text;
  return json;
}

TEST(Json, IsEmptyWithoutAValue) {
  Json json;
  EXPECT_FALSE(json.IsValid());
  EXPECT_EQ(json.RawValue(), nullptr);
  EXPECT_EQ(json.Size(), 0u);
  EXPECT_FALSE(json.IsObject() || json.IsArray() || json.IsString() || json.IsInteger() ||
               json.IsReal() || json.IsNumber() || json.IsBoolean() || json.IsTrue() ||
               json.IsFalse() || json.IsNull());
}

TEST(Json, CountsNothingWhileEmpty) {
  Json json;
  EXPECT_EQ(json.AddRef(), -1);
  EXPECT_EQ(json.Release(), -1);
  EXPECT_EQ(json.RefCount(), -1);
}

TEST(Json, NeitherLoadsNorDumpsWhileEmpty) {
  Json json;
  json_error_t error;
  EXPECT_FALSE(json.Load("{}", 0));
  EXPECT_FALSE(json.Load("{}", 0, &error));
  EXPECT_FALSE(json.LoadBuffer("{}", 2, 0));
  std::string text;
  EXPECT_FALSE(json.Dump(text, 0));
  EXPECT_FALSE(json.IsValid());
}

TEST(Json, HoldsABool) {
  const Json yes(true);
  EXPECT_TRUE(yes.IsValid() && yes.IsBoolean() && yes.IsTrue());
  EXPECT_FALSE(yes.IsFalse());
  EXPECT_EQ(yes.RawValue(), json_true());
  const Json no(false);
  EXPECT_TRUE(no.IsValid() && no.IsBoolean() && no.IsFalse());
  EXPECT_FALSE(no.IsTrue());
  EXPECT_EQ(no.RawValue(), json_false());
}

TEST(Json, StartsAsNullOrAsAnObject) {
  const JsonNull null;
  EXPECT_TRUE(null.IsValid() && null.IsNull());
  const JsonObject object;
  EXPECT_TRUE(object.IsValid() && object.IsObject());
  EXPECT_EQ(object.Size(), 0u);
}

TEST(Json, CountsTheReferencesOnItsValue) {
  JsonObject json;
  EXPECT_EQ(json.RefCount(), 1);
  EXPECT_EQ(json.AddRef(), 2);
  EXPECT_EQ(json.RefCount(), 2);
  EXPECT_EQ(json.RawValue()->refcount, 2u);
  EXPECT_EQ(json.Release(), 1);
  EXPECT_EQ(json.RefCount(), 1);
  EXPECT_TRUE(json.IsObject());
}

TEST(Json, TellsTheTypesApart) {
  struct Case {
    const char* text;
    std::string types;
  };
  const Case cases[] = {
      {"{}", "object"},           {"[]", "array"},        {"\"\"", "string"},
      {"7", "integer number"},    {"7.5", "real number"}, {"true", "boolean true"},
      {"false", "boolean false"}, {"null", "null"},
  };
  for (const Case& each : cases) {
    const Json json = loaded(each.text);
    std::string types;
    const auto add = [&](bool is, const char* name) {
      if (is) types += (types.empty() ? "" : " ") + std::string(name);
    };
    add(json.IsObject(), "object");
    add(json.IsArray(), "array");
    add(json.IsString(), "string");
    add(json.IsInteger(), "integer");
    add(json.IsReal(), "real");
    add(json.IsNumber(), "number");
    add(json.IsBoolean(), "boolean");
    add(json.IsTrue(), "true");
    add(json.IsFalse(), "false");
    add(json.IsNull(), "null");
    EXPECT_EQ(types, each.types) << each.text;
    EXPECT_TRUE(json.IsValid());
  }
}

TEST(Json, HasTheSizeOfAnArrayOrAnObjectOnly) {
  EXPECT_EQ(loaded("[1, 2, 3]").Size(), 3u);
  EXPECT_EQ(loaded("[]").Size(), 0u);
  EXPECT_EQ(loaded(R"({"a": 1, "b": [1, 2, 3]})").Size(), 2u);
  EXPECT_EQ(loaded("\"text\"").Size(), 0u);
  EXPECT_EQ(loaded("12").Size(), 0u);
  EXPECT_EQ(loaded("true").Size(), 0u);
  EXPECT_EQ(Json().Size(), 0u);
  EXPECT_EQ(Json::Adopt(nullptr).Size(), 0u);
}

TEST(Json, ThatIsNotValidHasNoRawValue) {
  const Json json = Json::Adopt(nullptr);
  EXPECT_FALSE(json.IsValid());
  EXPECT_EQ(json.RawValue(), nullptr);
  EXPECT_FALSE(json.IsNull());
  std::string text;
  EXPECT_FALSE(json.Dump(text, 512));
}

TEST(Json, SharesTheValueOfAnother) {
  const JsonObject other;
  JsonObject json;
  json_t* const former = json_incref(json.RawValue());

  json.Share(other);

  EXPECT_EQ(json.RawValue(), other.RawValue());
  EXPECT_EQ(json.RefCount(), 2);
  EXPECT_EQ(other.RefCount(), 2);
  EXPECT_EQ(former->refcount, 1u) << "it let go of its own";
  json_decref(former);
  json.SetMember("key", Json(true));
  EXPECT_EQ(other.Size(), 1u);
}

TEST(Json, StaysItselfWhenSharedWithItself) {
  JsonObject json;
  const Json& itself = json;
  json.Share(itself);
  EXPECT_TRUE(json.IsObject());
  EXPECT_EQ(json.RefCount(), 1);
}

TEST(Json, SharesItsValueWithItsCopies) {
  const JsonObject json;
  {
    const Json copy(json);
    EXPECT_EQ(copy.RawValue(), json.RawValue());
    EXPECT_EQ(json.RefCount(), 2);
  }
  EXPECT_EQ(json.RefCount(), 1);
}

TEST(Json, ReadsAndWritesMembers) {
  JsonObject json;
  EXPECT_TRUE(json.SetMember("text", loaded("\"value\"")));
  EXPECT_TRUE(json.SetMember("number", loaded("12")));
  std::string text;
  EXPECT_TRUE(json.GetMember("text", text));
  EXPECT_EQ(text, "value");
  json_int_t number = 0;
  EXPECT_TRUE(json.GetMember("number", number));
  EXPECT_EQ(number, 12);
  JsonNull member;
  EXPECT_TRUE(json.GetMember("number", member));
  EXPECT_TRUE(member.IsInteger());
}

TEST(Json, LeavesWhatItIsToReadIntoAloneOnFailure) {
  const Json json = loaded(R"({"text": "value", "number": 12})");
  std::string text = "before";
  json_int_t number = -1;
  JsonObject member;
  EXPECT_FALSE(json.GetMember("absent", text));
  EXPECT_FALSE(json.GetMember("number", text));
  EXPECT_FALSE(json.GetMember("text", number));
  EXPECT_FALSE(json.GetMember("absent", member));
  EXPECT_FALSE(loaded("[1]").GetMember("text", text));
  EXPECT_FALSE(Json().GetMember("text", text));
  EXPECT_EQ(text, "before");
  EXPECT_EQ(number, -1);
  EXPECT_TRUE(member.IsObject());
}

TEST(Json, ReadsAndWritesItems) {
  JsonNull json = loaded("[1]");
  EXPECT_TRUE(json.AppendItem(Json(true)));
  EXPECT_EQ(json.Size(), 2u);
  JsonNull item;
  EXPECT_TRUE(json.GetItem(1, item));
  EXPECT_TRUE(item.IsTrue());
  EXPECT_FALSE(json.GetItem(2, item));
  EXPECT_FALSE(JsonObject().AppendItem(Json(true)));
}

TEST(Json, ReadsItsOwnValue) {
  std::string text;
  EXPECT_TRUE(loaded("\"value\"").GetValue(text));
  EXPECT_EQ(text, "value");
  json_int_t number = 0;
  EXPECT_TRUE(loaded("-5").GetValue(number));
  EXPECT_EQ(number, -5);
  EXPECT_FALSE(loaded("-5").GetValue(text));
  EXPECT_FALSE(loaded("\"value\"").GetValue(number));
}

TEST(Json, HasTheSameOperationsInEachOfItsClassesInOrder) {
  using slots::slot;
  const std::size_t order[] = {
      slot(&Json::AddRef),   slot(&Json::Release),  slot(&Json::RefCount),  slot(&Json::IsValid),
      slot(&Json::IsObject), slot(&Json::IsArray),  slot(&Json::IsString),  slot(&Json::IsInteger),
      slot(&Json::IsReal),   slot(&Json::IsNumber), slot(&Json::IsBoolean), slot(&Json::IsTrue),
      slot(&Json::IsFalse),  slot(&Json::IsNull),   slot(&Json::Share),
  };
  for (std::size_t i = 1; i != std::size(order); ++i) EXPECT_EQ(order[i], order[0] + i) << i;
  EXPECT_GT(order[0], 0u) << "the destructor stands first";
  const std::size_t size = slot(&Json::Size);
  EXPECT_GT(size, slot(&Json::Share) + 1) << "reads and writes stand between";
  EXPECT_EQ(slot(&Json::RawValue), size + 1);
  EXPECT_EQ(slot(&Json::Pack), size + 2);
  EXPECT_EQ(slot(&Json::Unpack), size + 3);
  EXPECT_EQ(slot(&Json::PackV), size + 4);
  EXPECT_EQ(slot(&Json::UnpackV), size + 5);
  const std::size_t buffer = slot(&Json::LoadBuffer);
  EXPECT_EQ(buffer, size + 8) << "two loads from text stand before";
  EXPECT_EQ(slot(&Json::LoadStream), buffer + 3);
  EXPECT_EQ(slot(&Json::DumpStream), buffer + 7);

  const auto table = [](const Json& json) {
    void** entries = nullptr;
    std::memcpy(&entries, static_cast<const void*>(&json), sizeof(entries));
    return entries;
  };
  const Json json;
  const JsonNull null;
  const JsonObject object;
  for (std::size_t i = order[0]; i <= slot(&Json::DumpStream); ++i) {
    EXPECT_EQ(table(null)[i], table(json)[i]) << i;
    EXPECT_EQ(table(object)[i], table(json)[i]) << i;
  }
}

}  // namespace
