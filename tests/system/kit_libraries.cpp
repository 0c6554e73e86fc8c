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

/// The kit's configuration library in a folder of its own, with the values given.
class Configuration {
 public:
  explicit Configuration(const char* values) {
    const std::filesystem::path path = folder_.path() / library("iservconfig").filename();
    std::filesystem::copy_file(library("iservconfig"), path);
    if (values != nullptr) folder_.write("iservconfig.json", values);
    library_.emplace(path);
    void* object = nullptr;
    const auto create =
        library_->symbol<std::uint32_t (*)(const wchar_t*, IID, void**)>("ZvCreateObject");
    EXPECT_EQ(create(L"productinfo", IID_IServPlugin, &object), 0u);
    plugin_ = static_cast<IServPlugin*>(object);
    EXPECT_EQ(plugin_->Init(nullptr), 0u);
    EXPECT_EQ(plugin_->Start(), 0u);
  }
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
  ~Configuration() {
    plugin_->Stop();
    plugin_->UnInit();
    library_->symbol<void (*)(const wchar_t*, void*)>("ZvDestroyObject")(
        L"productinfo", plugin_->QueryInterface(IID_IZvBaseInterface));
  }

  const wchar_t* get(const IID& facet, std::uint32_t id) const {
    return static_cast<IServConfig*>(plugin_->QueryInterface(facet))->GetString(id, L"Default");
  }
  std::filesystem::path folder() const { return folder_.path(); }

 private:
  const Folder folder_;
  std::optional<Library> library_;
  IServPlugin* plugin_ = nullptr;
};

TEST(KitConfiguration, GivesItsFilesValuesOnBothFacets) {
  const Configuration configuration(
      R"({"44": "App \u00e4", "408": "${folder}/profiles", "9": null})");
  EXPECT_STREQ(configuration.get(IID_ProductInfo, PRODUCT_APP_ID), L"App \u00e4");
  EXPECT_STREQ(configuration.get(IID_IServConfig, PRODUCT_APP_ID), L"App \u00e4");
  const std::filesystem::path profiles =
      configuration.get(IID_IServConfig, PATH_COMMON_PRODUCT_DESKTOP_PROFILES);
  EXPECT_TRUE(std::filesystem::equivalent(profiles.parent_path(), configuration.folder()));
  EXPECT_EQ(configuration.get(IID_IServConfig, 9), nullptr);
}

TEST(KitConfiguration, SaysThatAValueIsMissing) {
  const Configuration configuration("{}");
  EXPECT_STREQ(configuration.get(IID_IServConfig, PRODUCT_APP_ID), L"<not found>");
}

TEST(KitConfiguration, GivesDefaultsWithoutAFile) {
  const Configuration configuration(nullptr);
  EXPECT_STREQ(configuration.get(IID_IServConfig, PRODUCT_APP_ID), L"Default");
}

}  // namespace

}  // namespace kit_test
