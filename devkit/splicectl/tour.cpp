#include "devkit/splicectl/tour.h"

#include "devkit/splicectl/exit_codes.h"
#include "devkit/splicectl/tour_chapters.h"
#include "devkit/splicectl/tour_pushes.h"

namespace devkit {

namespace {

/// With processes that find each other on the bus.
void show_pushes(TourStage& stage) {
  stage.step("The bus, a host that serves, and an application, each a process of its own.");
  TourCast cast(stage);
  Players players;
  show_cast(stage, cast, players);
  show_event(stage, cast, players);
  show_missed_command(stage, cast, players);
  show_command(stage, cast, players);
  show_killed_host(stage, cast, players);
  show_changed_user(stage, cast);
  show_request_over_bus(stage, cast);
}

}  // namespace

int run_tour(const std::filesystem::path& module, bool is_terminal) {
  TourStage stage(module, is_terminal);
  show_start(stage);
  show_requests(stage);
  show_breaker(stage);
  show_proxy(stage);
  show_outage(stage);
  stage.expect(stage.host().remove_observer(&stage.observer()), "the module lets the observer go");
  stage.end_host();
  show_pushes(stage);
  if (stage.wrong() == 0) {
    stage.say("\nEvery step went as expected.");
    return exit_code::ok;
  }
  stage.say("\n" + std::to_string(stage.wrong()) +
            " expectations did not hold; SPLICE_LOG=- shows the module's log.");
  return exit_code::request_failed;
}

}  // namespace devkit
