#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

/// Prints, behind the table of a run, how much longer each subject takes than its floor. Timings
/// swing from machine to machine and from minute to minute; their ratio in one run is what counts.
namespace bench {

struct Ratio {
  std::string subject;  ///< a benchmark's name or, behind a colon, one of its counters
  std::string floor;
  std::string wanted;  ///< what the ratio should be, in words
};

class RatioReporter final : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      has_failed_ = has_failed_ || run.error_occurred;
      if (run.aggregate_name == "median" && !run.error_occurred) {
        // The time of the processor is the less noisy one, but tells nothing of other processes.
        const bool is_manual = run.run_name.time_type == "manual_time";
        const std::string name = name_of(run.run_name);
        medians_[name] = is_manual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        for (const auto& [counter, value] : run.counters) medians_[name + ":" + counter] = value;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void print(const std::vector<Ratio>& ratios) {
    for (const Ratio& ratio : ratios) {
      const auto subject = medians_.find(ratio.subject);
      const auto floor = medians_.find(ratio.floor);
      if (subject == medians_.end() || floor == medians_.end()) continue;
      std::printf("%s is %.2f times %s (wanted: %s)\n", ratio.subject.c_str(),
                  subject->second / floor->second, ratio.floor.c_str(), ratio.wanted.c_str());
    }
  }

  bool has_failed() const { return has_failed_; }

 private:
  /// Without what only says how often it was measured.
  static std::string name_of(const benchmark::BenchmarkName& full) {
    std::string name = full.function_name;
    for (const std::string& part : {full.args, full.time_type}) {
      if (!part.empty()) name += "/" + part;
    }
    return name;
  }

  std::map<std::string, double> medians_;
  bool has_failed_ = false;
};

/// The main of a program with ratios, which want several repetitions and their medians.
inline int run(int argc, char** argv, const std::vector<Ratio>& ratios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print(ratios);
  benchmark::Shutdown();
  return reporter.has_failed() ? 1 : 0;
}

}  // namespace bench
