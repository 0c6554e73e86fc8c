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
  std::string subject;
  std::string floor;
  std::string wanted;  ///< what the ratio should be, in words
};

class RatioReporter final : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name == "median" && !run.error_occurred) {
        // The time of the processor is the less noisy one, but tells nothing of other processes.
        const bool is_manual = run.run_name.time_type == "manual_time";
        medians_[run.run_name.str()] =
            is_manual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
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

 private:
  std::map<std::string, double> medians_;
};

/// The main of a program with ratios, which want several repetitions and their medians.
inline int run(int argc, char** argv, const std::vector<Ratio>& ratios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print(ratios);
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench
