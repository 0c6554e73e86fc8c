#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "_base/zvjson/parsed_text.h"

namespace {

using Value = std::unique_ptr<json_t, decltype(&json_decref)>;

Value parse(const std::string& text) {
  return {json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr), &json_decref};
}

std::string dump(const json_t* value) {
  char* const text = json_dumps(value, 0);
  std::string result = text != nullptr ? text : "no dump";
  std::free(text);
  return result;
}

void expect_written_as_jansson_does(const std::string& text) {
  const Value value = parse(text);
  ASSERT_NE(value, nullptr) << text;
  EXPECT_EQ(zv::ParsedText(value.get()), dump(value.get()));
}

std::string escaped(unsigned code) {
  char text[8];
  std::snprintf(text, sizeof text, "\\u%04x", code);
  return text;
}

/// A random document, as an application might get it.
class Documents {
 public:
  std::string next(int depth = 0) {
    switch (pick(depth < 4 ? 9 : 7)) {
      case 0:
        return "null";
      case 1:
        return pick(2) == 0 ? "true" : "false";
      case 2:
        return std::to_string(static_cast<json_int_t>(random_()) >> pick(64));
      case 3:
        return std::to_string(pick(100000)) + ".0" + std::to_string(pick(1000)) + "e" +
               std::to_string(static_cast<int>(pick(500)) - 250);
      case 4:
      case 5:
      case 6:
        return quoted();
      case 7:
        return list('[', ']', [&] { return next(depth + 1); });
      default:
        return list('{', '}', [&] { return quoted() + ":" + next(depth + 1); });
    }
  }

 private:
  unsigned pick(unsigned below) { return static_cast<unsigned>(random_() % below); }

  std::string quoted() {
    std::string text = "\"";
    for (unsigned left = pick(12); left != 0; --left) text += escaped(1 + pick(0xD7FF));
    return text + '"';
  }

  template <class Make>
  std::string list(char begin, char end, const Make& make) {
    std::string text(1, begin);
    for (unsigned left = pick(5); left != 0; --left) text += make() + (left == 1 ? "" : ",");
    return text + end;
  }

  std::mt19937_64 random_{4711};
};

}  // namespace

TEST(ParsedText, WritesContainersAsJanssonDoes) {
  for (const char* text : {"{}", "[]", "[[]]", R"({"a":{}})",
                           R"({"z":1,"a":[1,2,{"b":null}],"m":{"x":true,"y":false}})",
                           R"(["", "one", "two three"])", R"({"":""})"}) {
    expect_written_as_jansson_does(text);
  }
}

TEST(ParsedText, KeepsTheOrderOfMembers) {
  EXPECT_EQ(zv::ParsedText(parse(R"({"z":1,"a":2,"m":3})").get()), R"({"z": 1, "a": 2, "m": 3})");
}

TEST(ParsedText, WritesEveryNumberAsJanssonDoes) {
  expect_written_as_jansson_does("[0, -0, -1, 9223372036854775807, -9223372036854775808]");
  expect_written_as_jansson_does(
      "[0.0, -0.0, 1.5, 1e300, 1e-300, 0.1, 123456789.123456789, 5e-324]");
}

TEST(ParsedText, WritesEveryCharacterAsJanssonDoes) {
  std::string all = "[\"";
  for (unsigned code = 1; code != 0x300; ++code) all += escaped(code);
  expect_written_as_jansson_does(all + R"(€\ud83d\ude00\uffff"])");
}

TEST(ParsedText, EscapesKeysToo) {
  expect_written_as_jansson_does(R"({"a\"b\\c\n\u0001/": 1})");
}

TEST(ParsedText, WritesTheDeepestTextThatParses) {
  const std::string deepest =
      std::string(JSON_PARSER_MAX_DEPTH - 1, '[') + std::string(JSON_PARSER_MAX_DEPTH - 1, ']');
  expect_written_as_jansson_does(deepest);
}

TEST(ParsedText, WritesRandomDocumentsAsJanssonDoes) {
  Documents documents;
  for (int i = 0; i != 2000; ++i) {
    expect_written_as_jansson_does("[" + documents.next() + "]");
    if (HasFailure()) return;
  }
}

TEST(ParsedText, IsEmptyForWhatIsNoContainer) {
  for (const char* text : {"1", "1.5", "\"text\"", "true", "null"}) {
    EXPECT_EQ(zv::ParsedText(parse(text).get()), "") << text;
  }
  EXPECT_EQ(zv::ParsedText(nullptr), "");
}
