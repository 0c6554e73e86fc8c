// What the breaker costs beside its lock: one thread, and several processes on one lock file. And
// what a save costs as the services grow in number, beside the bare writing of the same bytes.

#include "guardian/circuit_breaker.h"

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/BareWork.h"
#include "bench/BenchFolder.h"
#include "bench/Ratios.h"
#include "guardian/config_files.h"
#include "guardian/services_storage.h"

namespace {

using cloud::guardian::circuit_breaker;
using cloud::guardian::services_storage;

constexpr int operations_a_process = 5000;

void bare_lock_cycle(benchmark::State& state) {
  const BenchFolder folder;
  // It makes the file, and its watcher makes the process one of several threads, like any host's.
  const circuit_breaker breaker;
  const std::string file = folder.lock_file();
  for (auto _ : state) bench::lock_cycle(file.c_str());
}

void closed_circuit_asked(benchmark::State& state) {
  const BenchFolder folder;
  circuit_breaker breaker;
  BenchFolder::step_aside();
  const std::string service = "connect/settings";
  for (auto _ : state) {
    if (!breaker.IsSendAllowed(service)) state.SkipWithError("refused");
  }
}

/// Starts `processes` that each prepare themselves, wait for the start and then run `work` a fixed
/// number of times; gives the time from the start to the end of the last one.
double seconds_of(int processes, const std::function<std::function<void()>()>& prepare) {
  int ready[2];
  int start[2];
  if (pipe(ready) != 0 || pipe(start) != 0) std::abort();
  for (int i = 0; i != processes; ++i) {
    if (fork() != 0) continue;
    close(start[1]);
    {
      const auto work = prepare();
      char byte = 'r';
      if (write(ready[1], &byte, 1) != 1) std::abort();
      // Ends for all at once when the parent closes its side.
      if (read(start[0], &byte, 1) != 0) std::abort();
      for (int n = 0; n != operations_a_process; ++n) work();
    }
    _exit(0);
  }
  char byte;
  for (int i = 0; i != processes; ++i) {
    if (read(ready[0], &byte, 1) != 1) std::abort();
  }
  const auto begin = std::chrono::steady_clock::now();
  close(start[1]);
  for (int i = 0; i != processes; ++i) {
    int status = 0;
    if (wait(&status) < 0 || status != 0) std::abort();
  }
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin;
  close(start[0]);
  close(ready[0]);
  close(ready[1]);
  return spent.count();
}

void lock_cycle_by_processes(benchmark::State& state) {
  const BenchFolder folder;
  const std::string file = folder.lock_file();
  for (auto _ : state) {
    state.SetIterationTime(seconds_of(static_cast<int>(state.range(0)), [&file] {
      return [&file, breaker = std::make_shared<circuit_breaker>()] {
        bench::lock_cycle(file.c_str());
      };
    }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * operations_a_process);
}

void closed_circuit_by_processes(benchmark::State& state) {
  const BenchFolder folder;
  {
    circuit_breaker knows_the_service;
    knows_the_service.IsSendAllowed("connect/settings");
  }
  for (auto _ : state) {
    state.SetIterationTime(seconds_of(static_cast<int>(state.range(0)), [] {
      return [breaker = std::make_shared<circuit_breaker>(),
              service = std::string("connect/settings")] {
        if (!breaker->IsSendAllowed(service)) std::abort();
      };
    }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * operations_a_process);
}

void fill(services_storage& storage, std::int64_t services) {
  for (std::int64_t i = 0; i != services; ++i) {
    storage.refresh_service("connect/service-" + std::to_string(i));
  }
}

void bare_write(benchmark::State& state) {
  const BenchFolder folder;
  services_storage storage(cloud::guardian::load_paths_from_file().value());
  fill(storage, state.range(0));
  storage.save();
  std::ifstream written(folder.services_file());
  const std::string bytes{std::istreambuf_iterator<char>(written), {}};
  for (auto _ : state) {
    std::ofstream file(folder.services_file());
    file << bytes;
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void save(benchmark::State& state) {
  const BenchFolder folder;
  services_storage storage(cloud::guardian::load_paths_from_file().value());
  fill(storage, state.range(0));
  for (auto _ : state) storage.save();
}

}  // namespace

BENCHMARK(bare_lock_cycle);
BENCHMARK(closed_circuit_asked);
BENCHMARK(lock_cycle_by_processes)->Arg(2)->Arg(4)->UseManualTime();
BENCHMARK(closed_circuit_by_processes)->Arg(2)->Arg(4)->UseManualTime();
BENCHMARK(bare_write)->Arg(1)->Arg(3)->Arg(10)->Arg(30)->Arg(100)->Arg(300)->Arg(1000);
BENCHMARK(save)->Arg(1)->Arg(3)->Arg(10)->Arg(30)->Arg(100)->Arg(300)->Arg(1000);

int main(int argc, char** argv) {
  std::vector<bench::Ratio> ratios{
      {"closed_circuit_asked", "bare_lock_cycle", "at most 1.25"},
      {"closed_circuit_by_processes/2/manual_time", "lock_cycle_by_processes/2/manual_time",
       "at most 1.25, which is 0.8 of the throughput"},
      {"closed_circuit_by_processes/4/manual_time", "lock_cycle_by_processes/4/manual_time",
       "at most 1.25, which is 0.8 of the throughput"}};
  for (const char* const services : {"1", "3", "10", "30", "100", "300", "1000"}) {
    ratios.push_back({std::string("save/") + services, std::string("bare_write/") + services,
                      "to be looked at"});
  }
  return bench::run(argc, argv, ratios);
}
