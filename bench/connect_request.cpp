// What one connect request costs around a client that answers at once: unguarded against the same
// work done with bare jansson calls, guarded against that and two bare lock cycles.

#include <benchmark/benchmark.h>

#include <memory>

#include "bench/BareWork.h"
#include "bench/BenchFolder.h"
#include "bench/Ratios.h"
#include "cloud/CirrelResolver.h"
#include "guardian/circuit_breaker.h"
#include "guardian/dummy_circuit_breaker.h"
#include "guardian/guarded_resolver.h"

namespace {

using cloud::guardian::guarded_resolver;

void send(benchmark::State& state, cloud::IRequestResolver& resolver) {
  const cloud::connect_request request = bench::make_request();
  for (auto _ : state) {
    cloud::request_reply reply;
    const cloud::request_status status = resolver.resolve(request, reply);
    if (status.error_type != 0) state.SkipWithError("the request failed");
    benchmark::DoNotOptimize(reply.text.c_str());
  }
}

void bare_jansson(benchmark::State& state) {
  const cloud::connect_request request = bench::make_request();
  InstantClient client(bench::answer);
  int id = 1;
  for (auto _ : state) bench::exchange_by_jansson(request, id++);
}

void unguarded_request(benchmark::State& state) {
  InstantClient client(bench::answer);
  guarded_resolver chain(
      std::make_unique<cloud::CirrelResolver>(client.client(), client.instance()),
      std::make_unique<cloud::guardian::dummy_circuit_breaker>());
  send(state, chain);
}

void bare_jansson_and_two_lock_cycles(benchmark::State& state) {
  const cloud::connect_request request = bench::make_request();
  InstantClient client(bench::answer);
  const BenchFolder folder;
  // It makes the file, and its watcher makes the process one of several threads, like any host's.
  const cloud::guardian::circuit_breaker breaker;
  const std::string file = folder.lock_file();
  int id = 1;
  for (auto _ : state) {
    bench::lock_cycle(file.c_str());
    bench::exchange_by_jansson(request, id++);
    bench::lock_cycle(file.c_str());
  }
}

void guarded_request(benchmark::State& state) {
  InstantClient client(bench::answer);
  const BenchFolder folder;
  guarded_resolver chain(
      std::make_unique<cloud::CirrelResolver>(client.client(), client.instance()),
      std::make_unique<cloud::guardian::circuit_breaker>());
  BenchFolder::step_aside();
  send(state, chain);
}

}  // namespace

BENCHMARK(bare_jansson);
BENCHMARK(unguarded_request);
BENCHMARK(bare_jansson_and_two_lock_cycles);
BENCHMARK(guarded_request);

int main(int argc, char** argv) {
  return bench::run(argc, argv,
                    {{"unguarded_request", "bare_jansson", "at most 1.15"},
                     {"guarded_request", "bare_jansson_and_two_lock_cycles", "at most 1.15"}});
}
