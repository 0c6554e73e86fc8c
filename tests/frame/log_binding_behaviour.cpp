#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "frame/log_handle.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/loadable.h"

namespace {

using Names = std::vector<std::string>;
using support::LogRecorder;

bool is_loaded(const std::filesystem::path& path) {
  return platform::find_loaded(path.wstring().c_str()) != nullptr;
}

std::uint32_t write_a_line(const logging::log_handle& handle) {
  const std::uint32_t level = 16;
  return handle.binding()->log_write()(0, &level, platform::own_module(), L"function", L"%s",
                                       L"text");
}

/// The module stands in an empty folder, and no logging library is in the process.
class LogBinding : public testing::Test {
 protected:
  LogBinding() { seam.set_own_module_name(folder.module_name(L"cloudsplicer").wstring()); }

  void SetUp() override {
    ASSERT_FALSE(logging::is_on());
    ASSERT_FALSE(is_loaded(platform::library_file_name(L"log")));
  }

  const support::TemporaryFolder folder;
  support::TestSeam seam;
};

TEST_F(LogBinding, WithoutALibraryEveryLineIsANoOp) {
  logging::held_log_handle handle;
  EXPECT_TRUE(logging::is_on());
  EXPECT_EQ(handle.binding()->module(), nullptr);
  EXPECT_FALSE(handle.binding()->IsEnabled());
  EXPECT_EQ(write_a_line(handle), 0x80004002u) << "the stand-by's answer";
  {
    const trace_scope scope(L"function");
    logger_stream stream(4, L"function");
    EXPECT_FALSE(stream.is_enabled());
    stream << L"nobody reads this " << 1;
    LOG_LINE(4, L"function") << L"nor this";
  }
  handle.Release();
  EXPECT_FALSE(logging::is_on());
}

TEST_F(LogBinding, TakesTheLibraryBesideTheModule) {
  const std::filesystem::path library = folder.put_library(L"log", L"log");
  logging::held_log_handle handle;
  EXPECT_NE(handle.binding()->module(), nullptr);
  EXPECT_TRUE(is_loaded(library));
  LOG_LINE(4, L"function") << L"text";
  EXPECT_EQ(LogRecorder(library).lines(),
            (std::vector<support::LogLine>{{0, 4, L"function", L"text"}}));
  handle.Release();
  EXPECT_FALSE(is_loaded(library)) << "the last release unloads it";
}

TEST_F(LogBinding, PrefersTheLibraryInTheProcessToTheOneBesideTheModule) {
  const std::filesystem::path beside = folder.put_library(L"log", L"log");
  const LogRecorder in_process(support::loadable(L"log"));
  const logging::held_log_handle handle;
  EXPECT_EQ(handle.binding()->module(), in_process.library());
  EXPECT_FALSE(is_loaded(beside));
}

TEST_F(LogBinding, HoldsAReferenceOfItsOwnToALibraryInTheProcess) {
  const std::filesystem::path library = support::loadable(L"log");
  std::optional<LogRecorder> recorder(library);
  logging::held_log_handle handle;
  recorder.reset();
  EXPECT_TRUE(is_loaded(library));
  EXPECT_EQ(write_a_line(handle), 0u);
  handle.Release();
  EXPECT_FALSE(is_loaded(library));
}

TEST_F(LogBinding, LoadsNothingIfTheModuleHasNoName) {
  seam.set_own_module_name(L"", 5);
  const logging::held_log_handle handle;
  EXPECT_EQ(handle.binding()->module(), nullptr);
}

TEST_F(LogBinding, LoadsNothingIfTheModulesNameHasNoFolder) {
  seam.set_own_module_name(platform::library_file_name(L"cloudsplicer"));
  const logging::held_log_handle handle;
  EXPECT_EQ(handle.binding()->module(), nullptr);
}

TEST_F(LogBinding, InitialisesTheLibraryOnceBeforeAnythingElse) {
  const LogRecorder recorder(support::loadable(L"log"));
  const logging::held_log_handle first;
  const logging::held_log_handle second;
  LOG_LINE(4, L"function") << L"text";
  EXPECT_EQ(recorder.call_names(), (Names{"LogInit", "LogWrite"}));
  EXPECT_EQ(recorder.calls().front().export_name, "LogInit");
}

TEST_F(LogBinding, CallsNoneOfTheFunctionsThatItOnlyBinds) {
  const LogRecorder recorder(support::loadable(L"log"));
  {
    const logging::held_log_handle handle;
    const trace_scope scope(L"function");
    LOG_LINE(4, L"function") << L"text";
  }
  EXPECT_EQ(recorder.call_names(), (Names{"LogInit", "LogWrite", "LogWrite", "LogWrite",
                                          "LogDeinit", "LogUninitDeskMetrics", "LogRemoveModule"}));
}

TEST_F(LogBinding, TakesTheLibraryDownInOrder) {
  LogRecorder recorder(support::loadable(L"log"));
  logging::held_log_handle handle;
  recorder.clear();
  handle.Release();
  EXPECT_EQ(recorder.call_names(), (Names{"LogDeinit", "LogUninitDeskMetrics", "LogRemoveModule"}));
  EXPECT_EQ(recorder.calls().back().removed_module, "logging::CLogDLL::~CLogDLL");
}

TEST_F(LogBinding, StandsByForAMissingLogWriteAndUsesTheRest) {
  const std::filesystem::path library = folder.put_library(L"log_without_write", L"log");
  const LogRecorder recorder(library);
  {
    const logging::held_log_handle handle;
    EXPECT_NE(handle.binding()->module(), nullptr);
    EXPECT_TRUE(handle.binding()->IsEnabled());
    EXPECT_EQ(write_a_line(handle), 0x80004002u);
    const trace_scope scope(L"function");
    LOG_LINE(4, L"function") << L"text";
  }
  EXPECT_EQ(recorder.call_names(),
            (Names{"LogInit", "LogDeinit", "LogUninitDeskMetrics", "LogRemoveModule"}));
}

TEST_F(LogBinding, NeverCallsWhatTheLibraryLacks) {
  const LogRecorder recorder(folder.put_library(L"log_write_only", L"log"));
  {
    const logging::held_log_handle handle;
    EXPECT_FALSE(handle.binding()->IsEnabled());
    LOG_LINE(4, L"function") << L"a line needs LogIsEnabled";
    const trace_scope scope(L"function");
  }
  EXPECT_EQ(recorder.call_names(), (Names{"LogWrite", "LogWrite"})) << "the scope's alone";
}

TEST_F(LogBinding, ReadsLogIsEnabledInItsLowByteOnly) {
  LogRecorder recorder(support::loadable(L"log"));
  const logging::held_log_handle handle;
  EXPECT_TRUE(handle.binding()->IsEnabled());
  recorder.set_enabled(false);
  EXPECT_FALSE(handle.binding()->IsEnabled()) << "the recorder leaves rubbish above the low byte";
}

TEST_F(LogBinding, StaysOnUntilTheLastHandleIsReleased) {
  const LogRecorder recorder(support::loadable(L"log"));
  logging::log_handle first;
  EXPECT_FALSE(logging::is_on()) << "a handle holds nothing before it acquires";
  first.Acquire();
  logging::held_log_handle second;
  first.Release();
  EXPECT_TRUE(logging::is_on());
  EXPECT_EQ(recorder.call_names(), (Names{"LogInit"}));
  second.Release();
  EXPECT_FALSE(logging::is_on());
  EXPECT_EQ(recorder.call_names().size(), 4u);
}

TEST_F(LogBinding, HandlesShareOneBinding) {
  const logging::held_log_handle first;
  const logging::held_log_handle second;
  EXPECT_EQ(first.binding(), second.binding());
}

TEST_F(LogBinding, ReleaseGivesEveryCountOfTheHandleBack) {
  const LogRecorder recorder(support::loadable(L"log"));
  logging::log_handle handle;
  handle.Acquire();
  handle.Acquire();
  handle.Release();
  EXPECT_FALSE(logging::is_on());
}

TEST_F(LogBinding, ReleaseOfAnEmptyHandleGivesNothingBack) {
  const logging::held_log_handle other;
  logging::log_handle handle;
  handle.Release();
  EXPECT_TRUE(logging::is_on());

  handle.Acquire();
  handle.Release();
  handle.Release();
  EXPECT_TRUE(logging::is_on()) << "a second release finds no count";
}

TEST_F(LogBinding, ReleasesWhenTheHandleEnds) {
  { const logging::held_log_handle handle; }
  EXPECT_FALSE(logging::is_on());
}

TEST_F(LogBinding, IsMadeAnewByALaterFirstHandle) {
  const LogRecorder recorder(support::loadable(L"log"));
  for (int round = 0; round != 2; ++round) {
    const logging::held_log_handle handle;
    LOG_LINE(4, L"function") << L"text";
  }
  const Names once = {"LogInit", "LogWrite", "LogDeinit", "LogUninitDeskMetrics",
                      "LogRemoveModule"};
  Names twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(recorder.call_names(), twice);
}

TEST_F(LogBinding, FindsALibraryThatCameAfterAnEarlierBinding) {
  { const logging::held_log_handle nothing; }
  const LogRecorder recorder(support::loadable(L"log"));
  const logging::held_log_handle handle;
  EXPECT_EQ(handle.binding()->module(), recorder.library());
}

TEST_F(LogBinding, SurvivesManyThreadsThatTurnItOnAndOff) {
  const LogRecorder recorder(support::loadable(L"log"));
  constexpr int rounds = 200;
  std::vector<std::thread> threads;
  for (int i = 0; i != 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round != rounds; ++round) {
        const logging::held_log_handle handle;
        LOG_LINE(4, L"function") << L"text";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(logging::is_on());

  int bindings = 0;
  int lines = 0;
  for (const std::string& name : recorder.call_names()) {
    if (name == "LogInit") ++bindings;
    if (name == "LogDeinit") --bindings;
    EXPECT_TRUE(bindings == 0 || bindings == 1) << "two bindings at once";
    if (name == "LogWrite") {
      ++lines;
      EXPECT_EQ(bindings, 1) << "a line outside of any binding";
    }
  }
  EXPECT_EQ(bindings, 0);
  EXPECT_EQ(lines, 4 * rounds);
}

}  // namespace
