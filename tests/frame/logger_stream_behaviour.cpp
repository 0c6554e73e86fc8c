#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "frame/log_handle.h"
#include "frame/logger_stream.h"
#include "support/LogRecorder.h"
#include "support/loadable.h"

namespace {

using Lines = std::vector<support::LogLine>;
using Names = std::vector<std::string>;

/// Counts how often an argument of a statement was evaluated.
struct Argument {
  const wchar_t* operator()() {
    ++evaluated;
    return L"argument";
  }
  int evaluated = 0;
};

class LoggerStream : public testing::Test {
 protected:
  std::string last_export() const { return recorder.call_names().back(); }

  support::LogRecorder recorder{support::loadable(L"log")};
  std::optional<logging::held_log_handle> handle{std::in_place};
};

TEST_F(LoggerStream, WritesOneLineAStatement) {
  logger_stream(8, L"function") << L"number " << 5 << L" of " << std::wstring_view(L"seven");
  ASSERT_EQ(recorder.lines(), (Lines{{0, 8, L"function", L"number 5 of seven"}}));
  for (const support::LogCall& call : recorder.calls()) {
    if (call.export_name != "LogWrite") continue;
    EXPECT_EQ(call.format, L"%s");
    EXPECT_EQ(call.module, platform::own_module());
  }
}

TEST_F(LoggerStream, WritesAnEmptyLineForAnEmptyStatement) {
  { logger_stream stream(8, L"function"); }
  EXPECT_EQ(recorder.lines(), (Lines{{0, 8, L"function", L""}}));
}

TEST_F(LoggerStream, PassesAnyLevelOnUnchanged) {
  LOG_LINE(0xDEADBEEF, L"function") << L"text";
  EXPECT_EQ(recorder.lines(), (Lines{{0, 0xDEADBEEF, L"function", L"text"}}));
}

TEST_F(LoggerStream, TakesTextsAndIntegersOfEachKind) {
  LOG_LINE(4, L"function") << L"wide " << "n\xC3\xA4rrow " << zv::StringT<wchar_t>(L"w ")
                           << zv::StringT<char>("\xE2\x82\xAC ")
                           << std::numeric_limits<std::int32_t>::min() << L" "
                           << std::numeric_limits<std::uint32_t>::max() << L" "
                           << std::numeric_limits<std::int64_t>::min() << L" "
                           << std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(recorder.lines(),
            (Lines{{0, 4, L"function",
                    L"wide n\u00E4rrow w \u20AC -2147483648 4294967295 -9223372036854775808 "
                    L"18446744073709551615"}}));
}

TEST_F(LoggerStream, DoesNotReadItsTextAsAFormat) {
  LOG_LINE(4, L"function") << L"100%s %d %n";
  EXPECT_EQ(recorder.lines(), (Lines{{0, 4, L"function", L"100%s %d %n"}}));
}

TEST_F(LoggerStream, ReadsTheFunctionsNameWhenTheLineGoesOut) {
  wchar_t function[] = L"before";
  {
    logger_stream stream(4, function);
    stream << L"text";
    function[0] = L'B';
  }
  EXPECT_EQ(recorder.lines(), (Lines{{0, 4, L"Before", L"text"}}));
}

TEST_F(LoggerStream, WritesWhenItEndsAndNotBefore) {
  {
    logger_stream stream(4, L"function");
    stream << L"text";
    EXPECT_EQ(recorder.lines(), Lines{});
  }
  EXPECT_EQ(recorder.lines().size(), 1u);
}

TEST_F(LoggerStream, StaysEnabledAsItWasMade) {
  {
    logger_stream stream(4, L"function");
    recorder.set_enabled(false);
    EXPECT_TRUE(stream.is_enabled());
    stream << L"text";
  }
  EXPECT_EQ(recorder.lines().size(), 1u);
}

TEST_F(LoggerStream, StaysDisabledAsItWasMade) {
  recorder.set_enabled(false);
  {
    logger_stream stream(4, L"function");
    recorder.set_enabled(true);
    EXPECT_FALSE(stream.is_enabled());
    stream << L"text";
  }
  EXPECT_EQ(recorder.lines(), Lines{});
}

TEST_F(LoggerStream, AsksOnceWhetherItIsEnabled) {
  recorder.clear();
  LOG_LINE(4, L"function") << L"text " << 1 << L" " << 2;
  int asked = 0;
  for (const support::LogCall& call : recorder.calls()) {
    if (call.export_name == "LogIsEnabled") ++asked;
  }
  EXPECT_EQ(asked, 1);
}

TEST_F(LoggerStream, EvaluatesNothingWhileLoggingIsOff) {
  Argument argument;
  handle.reset();
  LOG_LINE(4, L"function") << argument();
  EXPECT_EQ(argument.evaluated, 0);
  EXPECT_EQ(recorder.lines(), Lines{});

  handle.emplace();
  LOG_LINE(4, L"function") << argument();
  EXPECT_EQ(argument.evaluated, 1);
}

TEST_F(LoggerStream, IsDisabledIfMadeWhileLoggingIsOff) {
  handle.reset();
  {
    logger_stream stream(4, L"function");
    EXPECT_FALSE(stream.is_enabled());
    handle.emplace();
    stream << L"text";
  }
  EXPECT_EQ(recorder.lines(), Lines{});
}

TEST_F(LoggerStream, HoldsTheBindingOnlyWhileItIsMadeAndWritten) {
  {
    logger_stream stream(4, L"function");
    stream << L"text";
    EXPECT_TRUE(logging::is_on());
    handle.reset();
    EXPECT_FALSE(logging::is_on());
    EXPECT_EQ(last_export(), "LogRemoveModule");
  }
  EXPECT_EQ(recorder.lines(), Lines{}) << "logging was off by then";
}

TEST_F(LoggerStream, WritesThroughABindingThatWasMadeAnewMeanwhile) {
  {
    logger_stream stream(4, L"function");
    stream << L"text";
    handle.reset();
    handle.emplace();
  }
  EXPECT_EQ(recorder.lines(), (Lines{{0, 4, L"function", L"text"}}));
}

TEST_F(LoggerStream, KeepsTheBindingUntilALineThatIsBeingWrittenIsOut) {
  std::mutex mutex;
  std::condition_variable changed;
  bool writing = false;
  bool may_go_on = false;
  recorder.set_hook([&](const support::log_call& call) {
    if (std::string(call.export_name) != "LogWrite") return;
    std::unique_lock lock(mutex);
    writing = true;
    changed.notify_all();
    changed.wait(lock, [&] { return may_go_on; });
  });

  std::thread writer([] { LOG_LINE(4, L"function") << L"text"; });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return writing; });
  }
  handle.reset();
  EXPECT_TRUE(logging::is_on()) << "the writer holds the binding";
  EXPECT_EQ(recorder.call_names(), (Names{"LogInit", "LogWrite"}));
  {
    const std::lock_guard lock(mutex);
    may_go_on = true;
  }
  changed.notify_all();
  writer.join();

  EXPECT_FALSE(logging::is_on());
  EXPECT_EQ(recorder.call_names(),
            (Names{"LogInit", "LogWrite", "LogDeinit", "LogUninitDeskMetrics", "LogRemoveModule"}));
  EXPECT_EQ(recorder.lines(), (Lines{{0, 4, L"function", L"text"}}));
}

}  // namespace
