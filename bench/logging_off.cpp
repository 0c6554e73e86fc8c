// What a log statement and a trace scope cost while logging is off.

#include <benchmark/benchmark.h>

#include <string>

#include "frame/logger_stream.h"
#include "frame/trace_scope.h"

namespace {

void empty_loop(benchmark::State& state) {
  for (auto _ : state) benchmark::ClobberMemory();
}

void log_statement_off(benchmark::State& state) {
  const std::string service = "connect/settings";
  std::uint32_t number = 7;
  for (auto _ : state) {
    LOG_LINE(logging::progress, L"bench") << L"service: " << service << L" number: " << number;
    benchmark::ClobberMemory();
  }
}

void trace_scope_off(benchmark::State& state) {
  for (auto _ : state) {
    const trace_scope trace(L"cloud::CirrelResolver::resolve");
    benchmark::ClobberMemory();
  }
}

}  // namespace

BENCHMARK(empty_loop);
BENCHMARK(log_statement_off);
BENCHMARK(trace_scope_off);
BENCHMARK_MAIN();
