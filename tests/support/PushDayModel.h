#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace support {

/// Who must have got which push, who may have, and who must not. It is told, in the order in which
/// they happen, what a test does and what the applications say, and collects what is wrong.
///
/// A push is owed while everything is settled: all that run and listen have been seen to be
/// registered. What happens in an unsettled time may be lost, and so may what was owed until then
/// and hasn't come.
///
///   event      at most once for each process that listens for its application; once if owed. A bus
///              that lost its broker sends again what nobody acknowledged, and then it may repeat.
///   command    any number of times for those processes, and at least once if owed. A process that
///              begins to listen is shown all that it holds, for whichever application.
///   listing    always asks for the product's own commands, on behalf of whichever application: so
///              these may come under that one's name.
///   completion one line of the cloud's table, whoever says so how often.
class PushDayModel {
 public:
  using json = nlohmann::json;
  enum class Kind { events, commands };

  struct Push {
    std::string key;  ///< an event's, in its parameters as "day", else its name; a command's
                      ///< identifier, else its name
    bool is_command = false;
    std::string app;
    std::string device;
    std::string name;
    json params = json::object();
    bool has_id = true;    ///< of a command
    bool is_heard = true;  ///< false: it names no application, or makes no sense
  };

  PushDayModel(std::string product, std::string device);

  // What the test does, told before it does it.
  void begins(const std::string& process, const std::string& app, bool events, bool commands);
  void ends(const std::string& process);
  void wants(const std::string& process, Kind kind, bool on);
  void completes(const std::string& process, const std::string& id, const std::string& status);
  /// One at a time. The list was made at any moment from here on, whatever else is said before it.
  void asks_for_list(const std::string& process);
  /// A key that was there already is the same command once more.
  void pushes(const Push& push);
  void kills_broker();
  void starts_server();
  /// Nothing is owed any more.
  void unsettles();
  /// All that run and listen are registered, the user is known, nothing is underway.
  void settles();

  // What comes of it.
  void says(const std::string& process, const json& line);
  void shows(const json& command_table);

  bool has_heard(const std::string& process, const std::string& key) const;
  bool is_ready(const std::string& process) const;
  /// Nothing of what the process held when it began to listen can still be underway to it.
  bool has_replayed(const std::string& process) const;
  bool is_completed(const std::string& id) const;
  /// How many lists this process has shown.
  std::uint64_t lists_seen(const std::string& process) const;
  bool is_settled() const noexcept { return settled_; }
  /// The commands that this process surely holds.
  std::vector<std::string> held(const std::string& process) const;

  /// What is still owed, in words. Lists and the table are shown only to those who ask, so these
  /// are told apart.
  std::vector<std::string> owed() const;
  bool is_owed_in_list(const std::string& process) const;
  bool is_owed_in_table() const;
  const std::vector<std::string>& faults() const noexcept { return faults_; }
  const std::map<std::string, std::uint64_t>& counts() const noexcept { return counts_; }

 private:
  enum class Hearing { off, unsure, on };
  struct Ear {
    Hearing hearing = Hearing::off;
    bool settled = false;
    std::set<std::string> owed;
    std::map<std::string, unsigned> heard;
  };
  struct Seat {
    std::string app;
    Ear events;
    Ear commands;
    std::set<std::string> brought;       ///< commands that came under its own name
    std::set<std::string> held;          ///< surely in its list
    std::set<std::string> told;          ///< it was told to complete
    std::set<std::string> leaving;       ///< its list has to lose these
    std::set<std::string> owed_in_list;  ///< its list has to have these
    std::set<std::string> owed_again;    ///< held when it began to listen
    std::uint64_t lists = 0;
    std::set<std::string> held_when_asked;
    std::set<std::string> leaving_when_asked;
    std::optional<std::string> last_when_asked;
    bool replays = false;
    std::optional<std::string> last_of_replay;  ///< when its list loses this, all is shown
  };
  struct Sent {
    Push push;
    unsigned times = 1;
    unsigned repeats = 0;
    unsigned server = 0;
    unsigned tellings = 0;  ///< by those who can complete it
    std::string teller{};   ///< the first
    std::set<std::string> statuses{};
    std::uint64_t completions = 0;
    bool owed = false;  ///< its completion
  };
  using Sends = std::map<std::string, Sent>;

  void hears_event(const std::string& process, Seat& seat, const json& line);
  void hears_command(const std::string& process, Seat& seat, const json& line);
  void lists(const std::string& process, Seat& seat, const json& ids);
  void did(Seat& seat, const std::string& what);
  /// Somebody leaves. If nobody else listens for his commands, those underway go no further.
  void forgive_lists(const std::string& app);
  static Ear& ear(Seat& seat, Kind kind);
  bool is_for(const Push& push, const Seat& seat) const;
  void check_content(const std::string& process, const Sent& sent, const json& line);
  void fault(const std::string& text) { faults_.push_back(text); }

  const std::string product_;
  const std::string device_;
  bool settled_ = false;
  unsigned server_ = 0;
  std::map<std::string, Seat> seats_;
  Sends events_;
  Sends commands_;
  std::set<std::string> unacknowledged_;  ///< events that a broker's end may repeat
  std::vector<std::string> faults_;
  std::map<std::string, std::uint64_t> counts_;
};

}  // namespace support
