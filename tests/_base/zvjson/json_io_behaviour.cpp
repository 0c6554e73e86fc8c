#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "_base/zvjson/zvjson.h"
#include "platform/file.h"
#include "support/TemporaryFolder.h"

namespace {

using zv::Json;
using zv::JsonNull;
using zv::JsonObject;

constexpr std::size_t reject_duplicates = 1;
constexpr std::size_t disable_eof_check = 2;
constexpr std::size_t decode_any = 4;
constexpr std::size_t decode_int_as_real = 8;
constexpr std::size_t allow_nul = 16;
constexpr std::size_t compact = 32;
constexpr std::size_t ensure_ascii = 64;
constexpr std::size_t sort_keys = 128;
constexpr std::size_t preserve_order = 256;
constexpr std::size_t encode_any = 512;
constexpr std::size_t escape_slash = 1024;

JsonNull loaded(const char* text) {
  JsonNull json;
  EXPECT_TRUE(json.Load(text, decode_any)) << text;
  return json;
}

/// Only a wide path can carry it everywhere.
std::filesystem::path odd_name() {
  return platform::file_path(L"w\u00efde \u4e2d");
}

std::string content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class JsonIo : public testing::Test {
 protected:
  /// Every load that takes its flags as they are.
  struct Load {
    const char* name;
    std::function<bool(Json&, const std::string&, std::size_t)> from;
  };
  struct Dump {
    const char* name;
    std::function<bool(const Json&, std::string&, std::size_t)> to;
  };

  std::string narrow(const char* name) const { return (folder / name).string(); }
  std::wstring wide(const std::filesystem::path& path) const {
    return platform::wide_text(folder / path);
  }

  support::TemporaryFolder folder;

  const std::vector<Load> loads{
      {"text", [](Json& json, const std::string& text,
                  std::size_t flags) { return json.Load(text.c_str(), flags); }},
      {"buffer",
       [](Json& json, const std::string& text, std::size_t flags) {
         return json.LoadBuffer(text.data(), text.size(), flags);
       }},
      {"narrow path",
       [this](Json& json, const std::string& text, std::size_t flags) {
         write(folder / "narrow", text);
         return json.LoadFile(narrow("narrow").c_str(), flags);
       }},
      {"wide path",
       [this](Json& json, const std::string& text, std::size_t flags) {
         write(folder / odd_name(), text);
         return json.LoadFile(wide(odd_name()).c_str(), flags);
       }},
      {"stream",
       [](Json& json, const std::string& text, std::size_t flags) {
         std::istringstream stream(text);
         return json.LoadStream(stream, flags);
       }},
  };
  const std::vector<Dump> dumps{
      {"text", [](const Json& json, std::string& text,
                  std::size_t flags) { return json.Dump(text, flags); }},
      {"narrow path",
       [this](const Json& json, std::string& text, std::size_t flags) {
         const bool dumped = json.DumpFile(narrow("narrow").c_str(), flags);
         text = content(folder / "narrow");
         return dumped;
       }},
      {"wide path",
       [this](const Json& json, std::string& text, std::size_t flags) {
         const std::filesystem::path name = odd_name();
         const bool dumped = json.DumpFile(wide(name).c_str(), flags);
         text = content(folder / name);
         return dumped;
       }},
      {"stream",
       [](const Json& json, std::string& text, std::size_t flags) {
         std::ostringstream stream;
         const bool dumped = json.DumpStream(stream, flags);
         text = stream.str();
         return dumped;
       }},
  };
};

TEST_F(JsonIo, LoadsFromEverywhere) {
  for (const Load& load : loads) {
    JsonNull json;
    EXPECT_TRUE(load.from(json, "{\"a\": [1, 2]}\r\n", 0)) << load.name;
    EXPECT_TRUE(json.IsObject()) << load.name;
    EXPECT_EQ(json.Size(), 1u) << load.name;
  }
}

TEST_F(JsonIo, LoadsWhatIsLongerThanAnyBufferOnTheWay) {
  const std::string text = "[\"" + std::string(1'000'000, 'x') + "\"]";
  for (const Load& load : loads) {
    JsonNull json;
    EXPECT_TRUE(load.from(json, text, 0)) << load.name;
    std::string back;
    EXPECT_TRUE(json.Dump(back, compact));
    EXPECT_EQ(back, text) << load.name;
  }
}

TEST_F(JsonIo, IsNotValidAfterALoadThatFailed) {
  for (const Load& load : loads) {
    JsonObject json;
    EXPECT_FALSE(load.from(json, "{\"a\":", 0)) << load.name;
    EXPECT_FALSE(json.IsValid()) << load.name;
    EXPECT_EQ(json.RawValue(), nullptr) << load.name;
    EXPECT_TRUE(load.from(json, "[]", 0)) << "it may be loaded again from " << load.name;
    EXPECT_TRUE(json.IsArray()) << load.name;
  }
  JsonObject json;
  json_error_t error;
  EXPECT_FALSE(json.Load("{\"a\":", 0, &error));
  EXPECT_FALSE(json.IsValid());
}

TEST_F(JsonIo, LetsGoOfTheFormerValueOnlyForItself) {
  for (const Load& load : loads) {
    JsonObject json;
    const Json sharer(json);
    load.from(json, "rubbish", 0);
    EXPECT_TRUE(sharer.IsObject()) << load.name;
    EXPECT_EQ(sharer.RefCount(), 1) << load.name;
  }
}

TEST_F(JsonIo, RefusesToLoadAnEmptyHolder) {
  for (const Load& load : loads) {
    Json json;
    EXPECT_FALSE(load.from(json, "{}", 0)) << load.name;
    EXPECT_FALSE(json.IsValid()) << load.name;
  }
}

TEST_F(JsonIo, PassesTheDecodingFlagsOn) {
  const std::string nul = "[\"a\\u0000b\"]";
  for (const Load& load : loads) {
    JsonNull json;
    EXPECT_TRUE(load.from(json, R"({"a": 1, "a": 2})", 0)) << load.name;
    EXPECT_FALSE(load.from(json, R"({"a": 1, "a": 2})", reject_duplicates)) << load.name;
    EXPECT_FALSE(load.from(json, "{} {", 0)) << load.name;
    EXPECT_TRUE(load.from(json, "{} {", disable_eof_check)) << load.name;
    EXPECT_FALSE(load.from(json, "7", 0)) << load.name;
    EXPECT_TRUE(load.from(json, "7", decode_any)) << load.name;
    EXPECT_TRUE(json.IsInteger()) << load.name;
    EXPECT_TRUE(load.from(json, "7", decode_any | decode_int_as_real)) << load.name;
    EXPECT_TRUE(json.IsReal()) << load.name;
    EXPECT_FALSE(load.from(json, nul, 0)) << load.name;
    EXPECT_TRUE(load.from(json, nul, allow_nul)) << load.name;
  }
}

TEST_F(JsonIo, DropsOtherFlagsOfALoad) {
  for (const Load& load : loads) {
    JsonNull json;
    EXPECT_TRUE(load.from(json, "{}", ~std::size_t{31})) << load.name;
    EXPECT_FALSE(load.from(json, "7", ~std::size_t{31})) << load.name;
  }
}

TEST_F(JsonIo, IgnoresTheDecodingFlagsWhenItReportsAnError) {
  JsonNull json;
  json_error_t error;
  EXPECT_FALSE(json.Load("7", decode_any, &error));
  EXPECT_TRUE(json.Load(R"({"a": 1, "a": 2})", reject_duplicates, &error));
  EXPECT_FALSE(json.Load("{} {", disable_eof_check, &error));
  EXPECT_FALSE(json.Load("[\"a\\u0000b\"]", allow_nul, &error));
  EXPECT_TRUE(json.Load("[7]", decode_int_as_real, &error));
  JsonNull item;
  ASSERT_TRUE(json.GetItem(0, item));
  EXPECT_TRUE(item.IsInteger());
  EXPECT_TRUE(json.Load(
      "[7]", compact | ensure_ascii | sort_keys | preserve_order | encode_any | escape_slash,
      &error));
}

TEST_F(JsonIo, ReportsTheErrorAsJanssonTellsIt) {
  const char* const text = "{\n  \"a\": rubbish }";
  json_error_t expected;
  ASSERT_EQ(json_loads(text, 0, &expected), nullptr);

  JsonNull json;
  json_error_t error;
  EXPECT_FALSE(json.Load(text, 0, &error));

  EXPECT_STREQ(error.text, expected.text);
  EXPECT_STREQ(error.source, expected.source);
  EXPECT_EQ(error.line, expected.line);
  EXPECT_EQ(error.column, expected.column);
  EXPECT_EQ(error.position, expected.position);
}

TEST_F(JsonIo, LoadsNoMoreThanTheBufferHolds) {
  JsonNull json;
  EXPECT_TRUE(json.LoadBuffer("[1]rubbish", 3, 0));
  EXPECT_EQ(json.Size(), 1u);
  EXPECT_FALSE(json.LoadBuffer("[1]", 2, 0));
}

TEST_F(JsonIo, FailsForATextThatIsNull) {
  JsonObject json;
  EXPECT_FALSE(json.Load(static_cast<const char*>(nullptr), 0));
  EXPECT_FALSE(json.IsValid());
}

TEST_F(JsonIo, FailsForAPathThatIsEmptyOrNull) {
  JsonObject source;
  const std::function<bool(Json&)> load_attempts[] = {
      [](Json& json) { return json.LoadFile("", 0); },
      [](Json& json) { return json.LoadFile(L"", 0); },
      [](Json& json) { return json.LoadFile(static_cast<const char*>(nullptr), 0); },
      [](Json& json) { return json.LoadFile(static_cast<const wchar_t*>(nullptr), 0); },
  };
  for (const auto& load : load_attempts) {
    JsonObject json;
    EXPECT_FALSE(load(json));
    EXPECT_FALSE(json.IsValid());
  }
  EXPECT_FALSE(source.DumpFile("", 0));
  EXPECT_FALSE(source.DumpFile(L"", 0));
  EXPECT_FALSE(source.DumpFile(static_cast<const char*>(nullptr), 0));
  EXPECT_FALSE(source.DumpFile(static_cast<const wchar_t*>(nullptr), 0));
}

TEST_F(JsonIo, FailsForAFileThatCannotBeOpened) {
  JsonObject json;
  EXPECT_FALSE(json.LoadFile(narrow("absent").c_str(), 0));
  EXPECT_FALSE(json.IsValid());
  JsonObject other;
  EXPECT_FALSE(other.LoadFile(wide("absent").c_str(), 0));
  EXPECT_FALSE(other.IsValid());

  const JsonObject source;
  EXPECT_FALSE(source.DumpFile(wide(std::filesystem::path("no folder") / "file").c_str(), 0));
  EXPECT_FALSE(source.DumpFile(narrow("").c_str(), 0)) << "a folder is no file";
}

TEST_F(JsonIo, ReadsFilesAsTheyStand) {
  // Read as text, the file would end at this character on some systems.
  write(folder / "file", "{}\x1a");
  JsonNull json;
  EXPECT_FALSE(json.LoadFile(narrow("file").c_str(), 0));
  EXPECT_FALSE(json.LoadFile(wide("file").c_str(), 0));
}

TEST_F(JsonIo, ClosesFilesBeforeItReturns) {
  JsonNull json;
  for (int i = 0; i != 2000; ++i) {
    ASSERT_TRUE(JsonObject().DumpFile(narrow("file").c_str(), 0)) << i;
    ASSERT_TRUE(json.LoadFile(wide("file").c_str(), 0)) << i;
  }
  EXPECT_TRUE(std::filesystem::remove(folder / "file"));
  write(folder / "file", "rubbish");
  EXPECT_FALSE(json.LoadFile(narrow("file").c_str(), 0));
  EXPECT_TRUE(std::filesystem::remove(folder / "file"));
}

TEST_F(JsonIo, ReplacesTheContentOfAFile) {
  write(folder / "file", std::string(1000, 'x'));
  EXPECT_TRUE(JsonObject().DumpFile(narrow("file").c_str(), 0));
  EXPECT_EQ(content(folder / "file"), "{}");
}

TEST_F(JsonIo, DumpsToEverywhere) {
  const Json json = loaded(R"({"b": 1, "a": "\u00e9/"})");
  for (const Dump& dump : dumps) {
    std::string text;
    EXPECT_TRUE(dump.to(json, text, 0)) << dump.name;
    EXPECT_EQ(text, "{\"b\": 1, \"a\": \"\xC3\xA9/\"}") << dump.name;
  }
}

TEST_F(JsonIo, PassesTheEncodingFlagsOn) {
  const Json json = loaded(R"({"b": 1, "a": "\u00e9/"})");
  const Json scalar = loaded("7");
  for (const Dump& dump : dumps) {
    std::string text;
    EXPECT_TRUE(dump.to(json, text, compact)) << dump.name;
    EXPECT_EQ(text, "{\"b\":1,\"a\":\"\xC3\xA9/\"}") << dump.name;
    EXPECT_TRUE(dump.to(json, text, ensure_ascii)) << dump.name;
    EXPECT_EQ(text, R"({"b": 1, "a": "\u00E9/"})") << dump.name;
    EXPECT_TRUE(dump.to(json, text, sort_keys)) << dump.name;
    EXPECT_EQ(text, "{\"a\": \"\xC3\xA9/\", \"b\": 1}") << dump.name;
    EXPECT_TRUE(dump.to(json, text, preserve_order)) << dump.name;
    EXPECT_EQ(text, "{\"b\": 1, \"a\": \"\xC3\xA9/\"}") << dump.name;
    EXPECT_TRUE(dump.to(json, text, escape_slash)) << dump.name;
    EXPECT_EQ(text, "{\"b\": 1, \"a\": \"\xC3\xA9\\/\"}") << dump.name;
    EXPECT_FALSE(dump.to(scalar, text, 0)) << dump.name;
    EXPECT_TRUE(dump.to(scalar, text, encode_any)) << dump.name;
    EXPECT_EQ(text, "7") << dump.name;
  }
}

TEST_F(JsonIo, NeverIndents) {
  const Json json = loaded(R"({"a": [1, 2]})");
  for (const Dump& dump : dumps) {
    for (const std::size_t indent : {1u, 4u, 31u}) {
      std::string text;
      EXPECT_TRUE(dump.to(json, text, indent)) << dump.name;
      EXPECT_EQ(text, R"({"a": [1, 2]})") << dump.name;
    }
  }
}

TEST_F(JsonIo, DropsOtherFlagsOfADump) {
  const Json json = loaded(R"({"a": 0.12345678})");
  for (const Dump& dump : dumps) {
    std::string text;
    EXPECT_TRUE(dump.to(json, text, JSON_EMBED | JSON_REAL_PRECISION(3))) << dump.name;
    EXPECT_EQ(text.front(), '{') << dump.name;
    EXPECT_NE(text.find("0.12345678"), std::string::npos) << dump.name;
  }
}

TEST_F(JsonIo, RefusesToDumpWithoutAValue) {
  for (const Dump& dump : dumps) {
    std::string text;
    EXPECT_FALSE(dump.to(Json(), text, encode_any)) << dump.name;
    EXPECT_FALSE(dump.to(Json::Adopt(nullptr), text, encode_any)) << dump.name;
  }
}

TEST_F(JsonIo, SaysWhenAStreamIsBroken) {
  std::istringstream in("{}");
  in.setstate(std::ios::badbit);
  JsonObject json;
  EXPECT_FALSE(json.LoadStream(in, 0));
  EXPECT_FALSE(json.IsValid());
  std::ostringstream out;
  out.setstate(std::ios::badbit);
  EXPECT_FALSE(JsonObject().DumpStream(out, 0));
}

TEST_F(JsonIo, DoesNotThrowThoughAStreamDoes) {
  std::istringstream in("[1");
  in.exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
  JsonObject json;
  EXPECT_NO_THROW(EXPECT_FALSE(json.LoadStream(in, 0)));
  EXPECT_FALSE(json.IsValid());
}

}  // namespace
