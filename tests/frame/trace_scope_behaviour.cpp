#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "frame/log_handle.h"
#include "frame/trace_scope.h"
#include "support/LogRecorder.h"
#include "support/TestSeam.h"
#include "support/loadable.h"

namespace {

using Lines = std::vector<support::LogLine>;

class TraceScope : public testing::Test {
 protected:
  TraceScope() { seam.hold_milliseconds(1000); }

  support::TestSeam seam;
  support::LogRecorder recorder{support::loadable(L"log")};
  std::optional<logging::held_log_handle> handle{std::in_place};
};

TEST_F(TraceScope, WritesTheEntryAtOnceAndTheExitWithTheTimeSpent) {
  {
    const trace_scope scope(L"cloud::requests::Init");
    EXPECT_EQ(recorder.lines(),
              (Lines{{1, 32, L"cloud::requests::Init", L"-> cloud::requests::Init()"}}));
    seam.hold_milliseconds(1250);
  }
  EXPECT_EQ(recorder.lines(),
            (Lines{{1, 32, L"cloud::requests::Init", L"-> cloud::requests::Init()"},
                   {-1, 32, L"cloud::requests::Init", L"<- cloud::requests::Init() [250]"}}));
}

TEST_F(TraceScope, WritesThroughItsOwnFormatsInTheModulesName) {
  recorder.clear();
  { const trace_scope scope(L"function"); }
  const std::vector<support::LogCall> calls = recorder.calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].format, L"-> %s");
  EXPECT_EQ(calls[1].format, L"<- %s [%d]");
  EXPECT_EQ(calls[0].module, platform::own_module());
  EXPECT_EQ(calls[1].module, platform::own_module());
}

TEST_F(TraceScope, NestsInOrder) {
  {
    const trace_scope outer(L"outer");
    const trace_scope inner(L"inner");
  }
  EXPECT_EQ(recorder.lines(), (Lines{{1, 32, L"outer", L"-> outer()"},
                                     {1, 32, L"inner", L"-> inner()"},
                                     {-1, 32, L"inner", L"<- inner() [0]"},
                                     {-1, 32, L"outer", L"<- outer() [0]"}}));
}

TEST_F(TraceScope, MeasuresAcrossAWrapOfTheClock) {
  seam.hold_milliseconds(0xFFFFFFF0u);
  {
    const trace_scope scope(L"function");
    seam.hold_milliseconds(0x10u);
  }
  EXPECT_EQ(recorder.lines().back().text, L"<- function() [32]");
}

TEST_F(TraceScope, WritesWhetherOrNotLinesAreEnabled) {
  recorder.set_enabled(false);
  { const trace_scope scope(L"function"); }
  EXPECT_EQ(recorder.lines().size(), 2u);
}

TEST_F(TraceScope, KeepsItsNameWhateverBecomesOfTheCallersText) {
  wchar_t name[] = L"function";
  {
    const trace_scope scope(name);
    name[0] = L'F';
  }
  EXPECT_EQ(recorder.lines().back(), (support::LogLine{-1, 32, L"function", L"<- function() [0]"}));
}

TEST_F(TraceScope, LeavesANameOf258CharactersWhole) {
  const std::wstring name(258, L'n');
  { const trace_scope scope(name.c_str()); }
  EXPECT_EQ(recorder.lines(), (Lines{{1, 32, name, L"-> " + name + L"()"},
                                     {-1, 32, name, L"<- " + name + L"() [0]"}}));
}

TEST_F(TraceScope, CutsALongerNameTo258Characters) {
  const std::wstring cut(258, L'n');
  for (const std::size_t length : {259u, 260u, 261u, 1000u}) {
    recorder.clear();
    const std::wstring name = cut + std::wstring(length - cut.size(), L'x');
    { const trace_scope scope(name.c_str()); }
    const Lines lines = recorder.lines();
    ASSERT_EQ(lines.size(), 2u) << length;
    EXPECT_EQ(lines[0].text, L"-> " + cut + L"()") << length;
    EXPECT_EQ(lines[1].text, L"<- " + cut + L"() [0]") << length;
    EXPECT_TRUE(name.starts_with(lines[0].function)) << length;
    EXPECT_EQ(lines[0].function, lines[1].function) << length;
  }
}

TEST_F(TraceScope, WritesAnExitAloneIfLoggingCameOnInBetween) {
  handle.reset();
  recorder.clear();
  {
    const trace_scope scope(L"function");
    seam.hold_milliseconds(1007);
    handle.emplace();
  }
  EXPECT_EQ(recorder.lines(), (Lines{{-1, 32, L"function", L"<- function() [7]"}}))
      << "the time runs from the construction in every case";
}

TEST_F(TraceScope, WritesAnEntryAloneIfLoggingWentOffInBetween) {
  {
    const trace_scope scope(L"function");
    handle.reset();
  }
  EXPECT_EQ(recorder.lines(), (Lines{{1, 32, L"function", L"-> function()"}}));
}

TEST_F(TraceScope, WritesNothingWhileLoggingIsOff) {
  handle.reset();
  { const trace_scope scope(L"function"); }
  EXPECT_EQ(recorder.lines(), Lines{});
}

}  // namespace
