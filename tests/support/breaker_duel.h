#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guardian/circuit_breaker.h"
#include "support/EventsRecorder.h"
#include "support/ModuleFolder.h"
#include "support/ReferenceBreaker.h"

/// The breaker beside its reference, step by step: three instances on one folder, with a clock that
/// jumps, files that are damaged, news that come late or never, and faults.
namespace support::duel {

enum class Kind { ask, success, failure, clock, news, settings, restart, damage, fault };

/// One thing that happens. The numbers are choices out of lists, in which the first is the
/// simplest.
struct Step {
  Kind kind;
  unsigned instance;
  unsigned service;
  unsigned choice;
};

/// The kinds, each as often as it is to be chosen.
extern const std::vector<Kind> kinds;
// A step's numbers are below these.
inline constexpr unsigned instances = 6;
inline constexpr unsigned services = 16;
inline constexpr unsigned choices = 24;

std::ostream& operator<<(std::ostream& out, const Step& step);

/// How often a circuit went from one state to another, and all that was played.
struct Tally {
  std::map<std::pair<std::int32_t, std::int32_t>, std::size_t> passages;
  std::size_t sequences = 0;
  std::size_t steps = 0;
  std::size_t refusals = 0;
  std::size_t reports = 0;
};

/// The module's folder for all sequences. The watchers never get to see it: each sequence brings
/// the news itself.
struct Stage {
  Stage();

  ModuleFolder folder{TemporaryFolder::fast_base()};
  EventsRecorder events{folder.path()};
  const std::filesystem::path circuits = folder.path() / "guard" / "circuits.json";
  const std::filesystem::path cache = folder.path() / "guard" / "cache.json";
};

/// One sequence.
class Duel {
 public:
  Duel(Stage& stage, Tally& tally);
  Duel(const Duel&) = delete;
  Duel& operator=(const Duel&) = delete;
  ~Duel();

  /// Does the step with both. They have to agree on the answer, the files to the byte, what each
  /// instance remembers, what was reported, and how often the lock was taken and a file was read or
  /// written. What they don't agree on, if anything.
  std::optional<std::string> play(const Step& step);

 private:
  struct Count {
    const char* what;
    std::size_t real;
    std::size_t reference;
  };
  using Counts = std::array<Count, 3>;

  Counts counts() const;
  /// The answers of the breaker and the reference, where the step is a question.
  std::pair<bool, bool> carry_out(const Step& step);
  void set_clock(std::int64_t now);
  std::int64_t moved_clock(const Step& step) const;
  static void fail(cloud::guardian::circuit_breaker& real, ReferenceBreaker& reference,
                   const std::string& service, unsigned choice);
  static void bring_news(cloud::guardian::circuit_breaker& real, ReferenceBreaker& reference,
                         unsigned choice);
  void damage(unsigned choice);
  void arm(unsigned choice);
  void restart(unsigned instance);
  void note_passages(const ReferenceBreaker::Circuits& before,
                     const ReferenceBreaker::Circuits& after);
  std::optional<std::string> difference() const;
  std::optional<std::string> difference_of_reports();

  Stage& stage_;
  Tally& tally_;
  ReferenceWorld world_;
  std::array<std::unique_ptr<cloud::guardian::circuit_breaker>, 3> real_;
  std::array<std::unique_ptr<ReferenceBreaker>, 3> reference_;
};

/// Plays a sequence to its end or the first difference, which it describes.
std::optional<std::string> play(Stage& stage, Tally& tally, const std::vector<Step>& steps);

}  // namespace support::duel
