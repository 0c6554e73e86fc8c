#include <optional>

#include "frame/CLogDLL.h"
#include "frame/IServConfig.h"
#include "system/kit_client.h"

namespace kit_test {

namespace {

using devkit::os::Library;

std::filesystem::path library(const char* stem) {
  return std::filesystem::path(KIT_FOLDER) / devkit::os::library_name(stem);
}

/// The kit's logging library, writing into a folder of its own.
class KitLog : public testing::Test {
 protected:
  KitLog() : library_(library("log")), write(library_.symbol<logging::LogWrite_t>("LogWrite")) {}
  ~KitLog() override {
    if (open_) call("LogDeinit");
    for (const char* const name : {"SPLICE_LOG", "SPLICE_LOG_LEVEL"})
      devkit::os::set_environment(name, std::nullopt);
  }

  void call(const char* name) { library_.symbol<std::uint32_t (*)()>(name)(); }
  bool is_enabled() { return library_.symbol<std::uint8_t (*)()>("LogIsEnabled")() != 0; }

  void open(const char* level) {
    devkit::os::set_environment("SPLICE_LOG", devkit::path_text(folder_.path() / "log.txt"));
    devkit::os::set_environment("SPLICE_LOG_LEVEL", level);
    call("LogInit");
    open_ = true;
  }

  /// The lines without their time and process.
  std::vector<std::string> lines() {
    std::ifstream file(folder_.path() / "log.txt", std::ios::binary);
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);)
      all.push_back(line.substr(line.find("] ") + 2));
    return all;
  }

  std::string formatted(const std::string& line) { return line.substr(line.find(": ") + 2); }

  const Folder folder_;
  Library library_;
  logging::LogWrite_t write;
  bool open_ = false;
  const std::uint32_t progress = logging::progress;
};

TEST_F(KitLog, ReadsFormatsAsMicrosoftsRuntimeReadsWideOnes) {
  open("progress");
  write(0, &progress, nullptr, L"f", L"%s|%S|%hs|%ls|%d|%u|%x|%c|%%", L"w\u00e4", "n\xC3\xA4", "h",
        L"l", -5, 7u, 255, L'c');
  write(0, &progress, nullptr, L"f", L"%5d|%-5d|%05d|%.2s|%6S|%*d|%ld|%I64d|%lld|%hd", 1, 2, 3,
        L"abc", "de", 3, 4, 5, -6000000000LL, -7000000000LL, 65537);
  write(0, &progress, nullptr, L"f", L"%s|%S|%.2f|%q|%", static_cast<const wchar_t*>(nullptr),
        static_cast<const char*>(nullptr), 1.005e1);
  const auto all = lines();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(formatted(all[0]), "w\xC3\xA4|n\xC3\xA4|h|l|-5|7|ff|c|%");
  EXPECT_EQ(formatted(all[1]), "    1|2    |00003|ab|    de|  4|5|-6000000000|-7000000000|1");
  EXPECT_EQ(formatted(all[2]), "(null)|(null)|10.05|%q|%");
}

TEST_F(KitLog, ShowsLevelDepthAndFunction) {
  open("trace");
  const std::uint32_t trace = logging::trace;
  const std::uint32_t failure = logging::failure;
  write(1, &trace, nullptr, L"outer", L"-> %s", L"outer()");
  write(0, &failure, nullptr, L"inner", L"went wrong");
  write(-1, &trace, nullptr, L"outer", L"<- %s [%d]", L"outer()", 12);
  const std::vector<std::string> expected = {"trace    outer: -> outer()",
                                             "FAILURE    inner: went wrong",
                                             "trace    outer: <- outer() [12]"};
  EXPECT_EQ(lines(), expected);
}

TEST_F(KitLog, LeavesOutWhatIsBelowItsLevel) {
  open("failure");
  write(0, &progress, nullptr, L"f", L"left out");
  EXPECT_TRUE(lines().empty());
  EXPECT_TRUE(is_enabled());
}

TEST_F(KitLog, IsOffUntilSomebodyWantsIt) {
  call("LogInit");
  open_ = true;
  EXPECT_FALSE(is_enabled());
}

TEST_F(KitLog, HasEveryFunctionThatTheModuleLooksFor) {
  for (const char* const name :
       {"LogInit", "LogApplySettings", "LogSetSettingsFile", "LogEnable", "LogSetLevel",
        "LogSetPath", "LogSetType", "LogSetMode", "LogSetMaxSize", "LogSetDepth", "LogWrite",
        "LogIsEnabled", "LogMonitorSettings", "LogGetLevel", "LogUninitDeskMetrics",
        "LogTrackEvent", "LogTrackEventData", "LogRemoveModule", "LogDeinit"}) {
    EXPECT_NO_THROW(library_.symbol<void (*)()>(name)) << name;
  }
}

/// The plug-in "productinfo", ready for use.
class ProductInfo {
 public:
  explicit ProductInfo(Library& library)
      : destroy_(library.symbol<void (*)(const wchar_t*, void*)>("ZvDestroyObject")) {
    void* object = nullptr;
    const auto create =
        library.symbol<std::uint32_t (*)(const wchar_t*, IID, void**)>("ZvCreateObject");
    EXPECT_EQ(create(L"productinfo", IID_IServPlugin, &object), 0u);
    plugin_ = static_cast<IServPlugin*>(object);
    EXPECT_EQ(plugin_->Init(nullptr), 0u);
    EXPECT_EQ(plugin_->Start(), 0u);
  }
  ProductInfo(const ProductInfo&) = delete;
  ProductInfo& operator=(const ProductInfo&) = delete;
  ~ProductInfo() {
    plugin_->Stop();
    plugin_->UnInit();
    destroy_(L"productinfo", plugin_->QueryInterface(IID_IZvBaseInterface));
  }

  const wchar_t* get(const IID& facet, std::uint32_t id) const {
    return static_cast<IServConfig*>(plugin_->QueryInterface(facet))->GetString(id, L"Default");
  }
  const wchar_t* app_id() const { return get(IID_ProductInfo, PRODUCT_APP_ID); }

 private:
  void (*destroy_)(const wchar_t*, void*);
  IServPlugin* plugin_ = nullptr;
};

/// The kit's configuration library in a folder of its own, where its values lie beside it.
class KitConfiguration : public testing::Test {
 protected:
  void set(const char* values) const { folder.write("iservconfig.json", values); }

  const Folder folder;
  Library configuration{copied(folder)};

 private:
  static std::filesystem::path copied(const Folder& to) {
    const std::filesystem::path original = library("iservconfig");
    std::filesystem::copy(original, to.path());
    return to.path() / original.filename();
  }
};

TEST_F(KitConfiguration, GivesItsFilesValuesOnBothFacets) {
  set(R"({"44": "App \u00e4", "408": "${folder}/profiles", "9": null})");
  const ProductInfo info(configuration);
  EXPECT_STREQ(info.get(IID_ProductInfo, PRODUCT_APP_ID), L"App \u00e4");
  EXPECT_STREQ(info.get(IID_IServConfig, PRODUCT_APP_ID), L"App \u00e4");
  const std::filesystem::path profiles =
      info.get(IID_IServConfig, PATH_COMMON_PRODUCT_DESKTOP_PROFILES);
  EXPECT_TRUE(std::filesystem::equivalent(profiles.parent_path(), folder.path()));
  EXPECT_EQ(info.get(IID_IServConfig, 9), nullptr);
}

TEST_F(KitConfiguration, SaysThatAValueIsMissing) {
  set("{}");
  EXPECT_STREQ(ProductInfo(configuration).app_id(), L"<not found>");
}

TEST_F(KitConfiguration, GivesDefaultsWithoutAFile) {
  EXPECT_STREQ(ProductInfo(configuration).app_id(), L"Default");
}

TEST_F(KitConfiguration, LeavesTheTextsOfOneOwnerAloneWhenAnotherComesAndGoes) {
  set(R"({"44": "First"})");
  const ProductInfo first(configuration);
  const wchar_t* const text = first.app_id();
  set(R"({"44": "Second"})");
  EXPECT_STREQ(ProductInfo(configuration).app_id(), L"Second");
  EXPECT_STREQ(text, L"First");
  EXPECT_EQ(first.app_id(), text);
}

}  // namespace

}  // namespace kit_test
